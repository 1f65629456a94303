/// The services that supply factory settings, for all trees of the process: FactorySettings, by the names of
/// their group and of the one above it, and TopLevelFactoryFileLoader, by their name.
///
/// Thread-safe. The lock of this class (rank "factory services") is not held while services, bundles or trees
/// are called.
#pragma once

#include "cppmicroservices/BundleContext.h"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/factoryfile/FactorySettings.hpp"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace settings::core::detail {

class FactorySettingsTracker {
  public:
    /// A service and what it said of itself when it came: it is not asked again.
    struct Service {
        std::shared_ptr<const varnek::settings::FactorySettings> code;
        std::string name{}; // of its group
        std::string parent{};
        bool isVisible = true;
    };
    struct Loader {
        std::shared_ptr<const varnek::settings::TopLevelFactoryFileLoader> code;
        std::string name{};
    };

    /// Made at the first call, never destroyed. Tracks from then on, and installs and starts the bundles of
    /// the installation's factory folders, once in a process; runs their code. Threads that come meanwhile
    /// wait; what is started on the calling thread finds what has come so far. Errors: those of
    /// serviceContext(), and then the next call tries again.
    static FactorySettingsTracker& start();

    std::optional<Service> find(const std::string& group) const;
    /// Of the top-level groups, in order of their names.
    std::vector<Service> topLevelServices() const;
    /// Of the groups that are to stand in that one.
    std::vector<Service> servicesBelow(const std::string& parent) const;
    /// Whether there are any for that top-level group or groups in it.
    bool suppliesBelow(const std::string& topLevelGroup) const;
    std::vector<Loader> loaders() const;

    /// How many services and loaders have come so far.
    std::uint64_t arrivals() const;
    /// Those that came when so many had come, a group's before those of the groups in it.
    std::vector<Service> servicesSince(std::uint64_t arrivals) const;
    std::vector<Loader> loadersSince(std::uint64_t arrivals) const;

    /// Bundles that could not be started, services and loaders that do not say what they are.
    std::vector<LoadProblem> problems() const;

  private:
    template <class Interface>
    class Customizer;

    FactorySettingsTracker() = default;
    template <class Interface>
    void track(const cppmicroservices::BundleContext& context);
    void startFolders(const cppmicroservices::BundleContext& context);
    void startFolder(const cppmicroservices::BundleContext& context, const std::filesystem::path& folder);
    void note(LoadProblem problem);
    void noteBroken(const std::string& name) noexcept;
    using Name = std::pair<std::string, std::string>; // of the group above, and of the group
    template <class Entry>
    using Shared = std::shared_ptr<const Entry>; // goes from hand to hand without memory
    template <class Entry>
    struct Arrived {
        Shared<Entry> entry;
        std::uint64_t number; // of those that have come
    };

    template <class Key, class Entry>
    struct Known {
        std::map<Key, Arrived<Entry>> inForce{};
        std::multimap<Key, Shared<Entry>> waiting{}; // for the one of its name to leave
    };

    template <class Key, class Entry>
    bool enterOnce(Known<Key, Entry>& known, const Key& key, const Entry& entry);
    template <class Key, class Entry>
    void leave(Known<Key, Entry>& known, const Entry& entry) noexcept;
    template <class Entry>
    bool enterUnlessBroken(Entry entry) noexcept;
    template <class Entry, class Step>
    bool unlessBroken(const Entry& entry, const Step& step) noexcept;
    bool enter(const Service& service); // false: it waits for another one of its name
    bool enter(const Loader& loader);
    static void addToTrees(const Service& service);
    static void addToTrees(const Loader& loader);
    static void leaveTrees(const Service& service);
    static void leaveTrees(const Loader&) {} // the file that it declared stays
    void leave(const Service& service) noexcept { leave(services_, service); }
    void leave(const Loader& loader) noexcept { leave(loaders_, loader); }

    mutable std::mutex mutex_;
    Known<Name, Service> services_;
    Known<std::string, Loader> loaders_;
    std::uint64_t arrivals_ = 0;
    std::vector<LoadProblem> problems_;

    struct OpenTracker {
        std::shared_ptr<void> customizer, tracker;
    };
    std::vector<OpenTracker> open_; // the last: where the start fails, services leave the others
};

} // namespace settings::core::detail
