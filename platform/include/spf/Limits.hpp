/// The limits of remote calls. Sizes are those of the encoded values.
#pragma once

#include <chrono>
#include <cstddef>

namespace varnek::spf::limits {

inline constexpr std::size_t requestBytes = std::size_t{1} << 20; ///< 1 MiB
inline constexpr std::size_t replyBytes = std::size_t{64} << 20;  ///< 64 MiB
inline constexpr std::size_t depth = 64;                          ///< lists and cells in each other
inline constexpr std::size_t values = std::size_t{1} << 20; ///< values, cells, fields, texts of one call

inline constexpr std::size_t services = 1024;                     ///< that one process publishes
inline constexpr std::size_t serviceBytes = 16 * requestBytes;    ///< of what is told of those
inline constexpr std::size_t connections = 64;                    ///< of one provider process
inline constexpr std::size_t callsOfConnection = 1024;            ///< that have no answer yet
inline constexpr std::size_t unansweredBytes = 16 * requestBytes; ///< of their requests
inline constexpr std::size_t topicBytes = 1024;                   ///< the name of a topic
/// Threads that carry out calls. Each connection may always have one call running; what it wants to run
/// beyond that shares these.
inline constexpr std::size_t sharedWorkers = 32;

/// What a client may leave untaken before it is told no more.
inline constexpr std::size_t announcementBytes = 16 * requestBytes; ///< of one connection
inline constexpr std::size_t changesAtOnce = 256;     ///< services that come and go, of one connection
inline constexpr std::size_t announcementLeast = 256; ///< what the smallest one counts
inline constexpr std::size_t unsentBytes = 2 * replyBytes + requestBytes; ///< of one connection
inline constexpr std::size_t unsentMessages = 8192;                       ///< of one connection

inline constexpr std::chrono::milliseconds call = std::chrono::seconds(25);
inline constexpr std::chrono::milliseconds connect = std::chrono::seconds(5);
inline constexpr std::chrono::milliseconds publication = std::chrono::seconds(5);

} // namespace varnek::spf::limits
