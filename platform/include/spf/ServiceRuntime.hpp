/// The services that processes of one user offer each other on this machine.
///
/// A process that publishes listens on a socket of its own in the endpoint folder
/// ("<run-time folder>/varnek-spf", 0700; the sockets 0600). Others watch the folder, connect, check that the
/// listener belongs to the same user, and enter what it offers into their service framework: a
/// varnek::spf::RemoteService for each service, with the properties of `property`. It is unregistered when
/// the publication ends, however it ends. The provider is entered into the framework of its own process with
/// the same properties: "spf.process" tells which publications are one's own.
///
/// Thread-safe. One thread of the framework moves the bytes; it never runs foreign code. Services of others
/// are registered and unregistered on a thread of the framework, one after the other.
#pragma once

#include "cppmicroservices/BundleContext.h"
#include "spf/Invokable.hpp"
#include "spf/SPFConfiguration.hpp"
#include "varnek/Export.hpp"

#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace varnek::spf {

/// Properties of published services; their values are of type std::string.
namespace property {
inline constexpr char serviceName[] = "spf.servicename";
inline constexpr char process[] = "spf.process"; ///< ServiceRuntime::processName() of the publisher
/// Before the names of those of the description and of the configuration's required ones.
inline constexpr char serviceProperty[] = "spf.serviceproperty.";
/// ServiceDescription::toProperties() as JSON.
inline constexpr char description[] = "spf.description";
} // namespace property

/// The object under which a service of another process is registered.
class VARNEK_EXPORT RemoteService {
  public:
    virtual ~RemoteService();
    /// Null when the process that offers it is gone.
    virtual std::shared_ptr<Invokable> invokable() const = 0;
};

/// The registration was not confirmed in time.
class VARNEK_EXPORT PublicationTimeout : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    ~PublicationTimeout() override;
};

/// A published service. The destructor ends the publication: it unregisters the provider, withdraws the
/// service and waits for calls that are under way, but for those inside which it runs.
class VARNEK_EXPORT Publication {
  public:
    virtual ~Publication();
    /// Tells the clients that listen on the topic. Does not block: a client that does not take what it is
    /// told hears no more, and has the service withdrawn and offered anew. RemoteError of kind tooLarge over
    /// limits::requestBytes. Does nothing in a child of fork().
    virtual void announce(const std::string& topic, Value::List announcement) = 0;
};

class VARNEK_EXPORT ServiceRuntime {
  public:
    /// That of the process, made at the first call and never destroyed; it works in the endpoint folder of
    /// the user. It starts its threads with the first publish() or discover(), and stops them when the
    /// process exits. It does not work in a child of fork().
    static ServiceRuntime& instance();
    /// Where sockets stand: "<run-time folder>/varnek-spf". Throws host::HostError.
    static std::filesystem::path endpointFolder();
    /// For tests, before anything else: another folder.
    static void setEndpointFolder(std::filesystem::path folder);

    /// Publishes a service under `serviceName` ("spf.servicename"): offers it to other processes, waits until
    /// it can be found by them, and registers the provider in `context` under
    /// "varnek::spf::ServiceProvider". Trackers are called on this thread. On an error nothing stays
    /// published: PublicationTimeout; RemoteError (tooLarge for a description over limits::requestBytes,
    /// refused in a child of fork() and beyond limits::services or limits::serviceBytes, unreachable when the
    /// event loop cannot serve it); files::FileError when the endpoint cannot be made, host::HostError when
    /// there is no place for it; std::invalid_argument for a null provider or an empty name; what
    /// RegisterService throws.
    std::unique_ptr<Publication>
    publish(cppmicroservices::BundleContext context, const SPFConfiguration& configuration,
            const std::string& serviceName, const ServiceDescription& description,
            std::shared_ptr<ServiceProvider> provider, std::chrono::milliseconds limit = limits::publication);

    /// Enters the services of other processes into a framework, now and from now on. Once for each context;
    /// stays until the context ends. Returns before they are entered: it does not wait for other processes.
    /// RemoteError of kind refused in a child of fork(); host::HostError; std::system_error when the system
    /// has no means to watch the endpoint folder: then nothing was begun, and it can be called again.
    void discover(cppmicroservices::BundleContext context);

    /// A process that stands in the endpoint folder, but cannot be called, and why: `refused` when it has too
    /// many clients or belongs to another user, `timedOut` when it does not answer, ...
    struct UnusableProcess {
        std::string process; ///< its processName()
        RemoteError failure;
    };
    /// As the last attempts to connect left it; nothing before discover(). They go on. RemoteError of kind
    /// refused in a child of fork(), disconnected while the process exits.
    std::vector<UnusableProcess> unusableProcesses() const;

    /// The processes that are connected and have told what they publish, which may be nothing; what they told
    /// then is registered. The errors of unusableProcesses().
    std::vector<std::string> answeringProcesses() const;

    /// Tells this process from others: "spf.process" of its publications. Not the process id, which begins
    /// it.
    const std::string& processName() const noexcept;

    ServiceRuntime(const ServiceRuntime&) = delete;
    ServiceRuntime& operator=(const ServiceRuntime&) = delete;

  private:
    class Impl;

    explicit ServiceRuntime(std::unique_ptr<Impl> impl) noexcept;
    ~ServiceRuntime();
    const std::unique_ptr<Impl> impl_;
};

} // namespace varnek::spf

CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(varnek::spf::RemoteService, "varnek::spf::RemoteService")
