// KConfig: a file of defaults below the personal one.

#include "Rows.hpp"

#include <KConfig>
#include <KConfigGroup>
#include <QString>

#include <memory>

namespace bench {

Contestant kconfigRead() {
    const auto config = std::make_shared<KConfig>(QString(), KConfig::SimpleConfig);
    const auto groups = std::make_shared<std::vector<KConfigGroup>>();
    const auto names = std::make_shared<std::vector<std::string>>();
    for (int s = 0; s < settingsPerGroup; ++s)
        names->push_back(settingName(s));
    for (int g = 0; g < groupCount; ++g) {
        groups->emplace_back(config.get(), groupName(g).c_str());
        for (int s = 0; s < settingsPerGroup; ++s)
            groups->back().writeEntry((*names)[std::size_t(s)].c_str(), double(g * settingsPerGroup + s));
    }
    const auto keys = std::make_shared<std::vector<std::pair<int, int>>>(shuffledKeys());
    return {"KConfig", [config, groups, names, keys] {
                double sum = 0;
                for (const auto& [g, s] : *keys)
                    sum += (*groups)[std::size_t(g)].readEntry((*names)[std::size_t(s)].c_str(), 0.0);
                keep(sum);
                return std::uint64_t(keys->size());
            }};
}

Contestant kconfigSave(const std::filesystem::path& folder, int groups, int settingsOfEach) {
    const auto file = folder / ("kconfig" + std::to_string(groups));
    const auto store =
        std::make_shared<KConfig>(QString::fromStdString(file.string()), KConfig::SimpleConfig);
    const auto set = [store](int g, int s, double value) {
        KConfigGroup(store.get(), groupName(g).c_str()).writeEntry(settingName(s).c_str(), value);
    };
    return savingPeer(
        "KConfig", set, [store] { store->sync(); }, groups, settingsOfEach);
}

void kconfigPrepare(const std::filesystem::path& folder, int groups, int settings) {
    KConfig store(QString::fromStdString((folder / "start.kconfig").string()), KConfig::SimpleConfig);
    for (int g = 0; g < groups; ++g) {
        KConfigGroup group(&store, groupName(g).c_str());
        for (int s = 0; s < settings; ++s)
            group.writeEntry(settingName(s).c_str(), double(g) * 1000 + s);
    }
    store.sync();
}

StartFigures kconfigStart(const std::filesystem::path& folder, int groups, int settings) {
    std::unique_ptr<KConfig> store;
    return timeStart(
        [&] {
            store = std::make_unique<KConfig>(QString::fromStdString((folder / "start.kconfig").string()),
                                              KConfig::SimpleConfig);
        },
        [&](int g, int s) {
            return KConfigGroup(store.get(), groupName(g).c_str()).readEntry(settingName(s).c_str(), 0.0);
        },
        groups, settings);
}

} // namespace bench
