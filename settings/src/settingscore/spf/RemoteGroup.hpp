/// One top-level group of another process: the way to it, and the nodes that stand for its groups and
/// settings here.
///
/// Nodes are made when somebody asks for them and live as long as somebody holds them; each path has one node
/// at a time, and its identity stays. Thread-safe. mutex_ (rank "remote nodes") guards the table of nodes and
/// is not held during calls.
#pragma once

#include "settingscore/settings/node/SettingsNodeImpl.hpp"
#include "settingscore/spf/FailureCoding.hpp"
#include "settingscore/spf/RemoteMethods.hpp"
#include "spf/Invokable.hpp"

#include <boost/weak_ptr.hpp>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>

namespace settings::spf {

class SettingsRemoteImpl;

class RemoteGroup : public std::enable_shared_from_this<RemoteGroup> {
  public:
    using RemoteNode = boost::shared_ptr<SettingsRemoteImpl>;

    /// `root`: below which the group is to stand.
    static std::shared_ptr<RemoteGroup> make(std::string name,
                                             std::shared_ptr<varnek::spf::Invokable> invokable,
                                             const core::detail::NodePtr& root);

    const std::string& name() const noexcept { return name_; }
    core::detail::NodePtr root() const { return root_.lock(); }
    /// Once. It is owned by whoever holds it: the root, while the group is attached.
    RemoteNode makeTopLevelNode();
    /// Null when nobody holds it.
    RemoteNode topLevelNode() const { return topLevelNode_.lock(); }
    /// That of `name` below `parent`. RemoteError of kind malformed for a path that is too long.
    RemoteNode childOf(const RemoteNode& parent, const std::string& name);
    /// The node of a path, empty for the top-level node; null when that one is gone.
    RemoteNode nodeAt(const Path& path);

    /// The node is the same one whenever it is asked for again, until it is gone.
    void keepIdentity(const SettingsRemoteImpl& node);
    /// The child and what is below it are gone.
    void forgetTold(const SettingsRemoteImpl& parent, const std::string& child);

    /// Asks the other process, waits and takes the reply (`Value` -> result). What it raises comes as its own
    /// type with this process's handles; RemoteCallFailed for everything else, a reply of another kind
    /// included.
    template <class Take>
    auto call(const char* method, const std::string& node, Value::List arguments, Take take) {
        const Value reply = ask(method, node, std::move(arguments));
        try {
            return take(reply);
        } catch (const varnek::spf::RemoteError& error) {
            fail(method, node, error);
        }
    }

    /// From here on the values that the other process announces become events of the tree, while the group is
    /// attached.
    void listen();
    void setAttached(bool attached) noexcept { isAttached_ = attached; }
    bool isAttached() const noexcept { return isAttached_; }
    /// Ends the listening. Does not wait for listeners that are at work: it ends when they are done. Without
    /// locks.
    void stopListening();

  private:
    RemoteGroup(std::string name, std::shared_ptr<varnek::spf::Invokable> invokable,
                const core::detail::NodePtr& root);

    /// What is kept of a node that nobody may hold any more, so that it is the same one when it is asked for
    /// again: by its parent and its name, unless they are many and nobody knows its identity.
    struct Known {
        std::uint64_t serial = 0;
        boost::weak_ptr<SettingsRemoteImpl> node;
        bool isKept = false; // somebody knows its identity
    };
    using Place = std::pair<std::uint64_t, std::string>;

    class FailureHandles;
    class Announced;
    Value ask(const char* method, const std::string& node, Value::List arguments);
    [[noreturn]] static void fail(const char* method, const std::string& node,
                                  const varnek::spf::RemoteError& error);
    void valueChanged(const Value::List& announcement);
    void letGoOfSome();

    const std::string name_;
    const std::shared_ptr<varnek::spf::Invokable> invokable_;
    const boost::weak_ptr<core::detail::SettingsNodeImpl> root_;
    boost::weak_ptr<SettingsRemoteImpl> topLevelNode_; // set once, by makeTopLevelNode()
    std::atomic<bool> isAttached_{false};
    std::mutex mutex_;
    std::map<Place, Known> nodes_; // guarded by mutex_, as what follows
    std::size_t mostNodes_;        // then those that nobody holds or knows go
    std::stop_source stop_;
    std::mutex listening_; // rank "remote nodes"; guards the rest
    int announced_ = 0;    // announcements that threads are at work on
    varnek::spf::Subscription announcements_;
};

} // namespace settings::spf
