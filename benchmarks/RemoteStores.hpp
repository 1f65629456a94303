/// A group of 1,000 settings in another process, as each contestant of the remote rows serves and reads it.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace bench {

inline constexpr int remoteSettings = 1000;
inline constexpr int inFlight = 32;

/// The reading side. For one thread.
class RemoteStore {
  public:
    virtual ~RemoteStore() = default;
    virtual double read(int setting) = 0;
    /// Many reads, `inFlight` of them under way at a time; their sum.
    virtual double readMany(int count) = 0;
    /// All names with their flags; how many there are.
    virtual std::size_t browse() = 0;
};

std::unique_ptr<RemoteStore> openSocketStore(const std::filesystem::path& folder);
std::unique_ptr<RemoteStore> openCapnpStore(const std::filesystem::path& folder);

/// Serve until the process is ended; `ready` is called when clients may come.
void serveSocketStore(const std::filesystem::path& folder, const std::function<void()>& ready);
void serveCapnpStore(const std::filesystem::path& folder, const std::function<void()>& ready);

} // namespace bench
