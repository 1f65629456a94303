// The folder in which the processes of a user find each other.
//
// A process that can be called owns the lock file "<name>.lock", locked (flock) as long as it lives, and
// beside it the socket "<name>.socket", which gets that name when it listens. Names are never used again, so
// that what a dead process left behind can be removed whenever its lock is free. Whoever removes holds the
// lock, and makes it where there is none.
#pragma once

#include "spf/Descriptors.hpp"

#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace varnek::spf {

class Endpoint;

/// Immutable. Every operation looks at the folder anew: it may go and come back.
class EndpointFolder {
  public:
    explicit EndpointFolder(std::filesystem::path folder) : folder_(std::move(folder)) {}

    const std::filesystem::path& path() const noexcept { return folder_; }

    /// The names of those that can be called, stale ones too; none when there is no folder. Throws
    /// files::FileError when the folder belongs to somebody else, is open to others, is a link, or cannot be
    /// read now.
    std::vector<std::string> names() const;
    /// True also where there is no memory to look.
    bool has(const std::string& name) const noexcept;

    /// Of a socket that does not block: 0 or the error.
    int connect(int socket, const std::string& name) const;

    /// True when the process has ended and what it left behind is removed.
    bool removeStale(const std::string& name) const;
    /// The same for all that have ended, also those that never came to listen.
    void removeStale() const;

    /// Makes an endpoint, and the folder where it is missing. Throws files::FileError.
    std::unique_ptr<Endpoint> create(const std::string& name) const;

  private:
    Descriptor open() const;

    std::filesystem::path folder_;
};

/// What others connect to. The destructor removes its files.
class Endpoint {
  public:
    ~Endpoint();
    int listener() const noexcept { return listener_.get(); }
    /// False when somebody has removed it or put another file in its place, or it lies in a folder that has
    /// been replaced.
    bool isInPlace() const noexcept;

  private:
    friend class EndpointFolder;
    Endpoint(std::filesystem::path folder, const std::string& name)
        : folder_(std::move(folder)), socket_(folder_ / (name + ".socket")),
          newSocket_(folder_ / (name + ".new")), lockFile_(folder_ / (name + ".lock")) {}
    void lock();
    void listen(int folder, const std::string& name);

    std::filesystem::path folder_;
    std::filesystem::path socket_;
    std::filesystem::path newSocket_; // until it listens
    std::filesystem::path lockFile_;
    struct stat made_ {}; // the file of the socket
    GuardedDescriptor lock_;
    GuardedDescriptor listener_;
};

} // namespace varnek::spf
