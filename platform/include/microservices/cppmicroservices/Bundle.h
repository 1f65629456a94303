/// A handle to one installed library.
#pragma once

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleVersion.h"
#include "cppmicroservices/ServiceReference.h"
#include "varnek/Export.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {

class BundleContext;

namespace detail {
struct BundleCore;
struct Handles;
} // namespace detail

/// Cheap to copy; keeps its framework alive. Thread-safe like a pointer. A default-constructed bundle is
/// invalid: all its operations but the comparisons throw std::invalid_argument ("invalid bundle").
class VARNEK_EXPORT Bundle {
  public:
    enum State : std::uint32_t {
        STATE_UNINSTALLED = 1,
        STATE_INSTALLED = 2,
        STATE_RESOLVED = 4,
        STATE_STARTING = 8,
        STATE_STOPPING = 16,
        STATE_ACTIVE = 32,
    };

    Bundle() noexcept = default;

    explicit operator bool() const noexcept { return core_ != nullptr; }
    friend VARNEK_EXPORT bool operator==(const Bundle& a, const Bundle& b) noexcept;
    friend VARNEK_EXPORT bool operator<(const Bundle& a, const Bundle& b) noexcept;

    State GetState() const;
    /// 0 is the framework itself; the others grow in the order of installation.
    long GetBundleId() const;
    std::string GetLocation() const;
    std::string GetSymbolicName() const;
    BundleVersion GetVersion() const;
    /// The manifest; its keys are not case-sensitive. Valid while the handle is.
    const AnyMap& GetHeaders() const;
    /// Invalid unless the bundle is starting, active or stopping.
    BundleContext GetBundleContext() const;
    std::vector<ServiceReferenceU> GetRegisteredServices() const;
    std::vector<ServiceReferenceU> GetServicesInUse() const;

    /// Loads the library and starts its activator on the calling thread, with no lock held; an active bundle
    /// stays as it is. The framework: Init, if it was not called, then active. Options are accepted and
    /// change nothing. Throws SharedLibraryException when the library does not load, std::runtime_error
    /// "Bundle N (location= L) start failed:
    /// ..." for every other failure (the bundle is then resolved and has no services), std::logic_error for
    /// an uninstalled bundle and for a bundle that this very thread is starting or stopping.
    void Start(std::uint32_t options);
    void Start() { Start(0); }

    /// Stops the activator and removes the bundle's services; a bundle that is not active stays as it is. The
    /// framework: begins to stop on a thread of its own, see Framework::WaitForStop. Throws
    /// std::runtime_error when the activator fails (the bundle is stopped nevertheless), std::logic_error
    /// like Start.
    void Stop(std::uint32_t options);
    void Stop() { Stop(0); }

    /// Stops the bundle and takes it out of the framework; the library stays loaded. Throws std::logic_error
    /// for an uninstalled bundle, std::runtime_error for the framework.
    void Uninstall();

  protected:
    explicit Bundle(std::shared_ptr<detail::BundleCore> core) noexcept;
    detail::BundleCore& core() const; // throws when invalid

  private:
    friend struct detail::Handles;

    std::shared_ptr<detail::BundleCore> core_; // shares the ownership of the whole framework
};

} // namespace varnek_platform
} // namespace cppmicroservices
