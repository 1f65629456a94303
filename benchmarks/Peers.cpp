// Adds the peers that this build was made with.

#include "Rows.hpp"

namespace bench {

#ifdef HAVE_QSETTINGS
Contestant qsettingsRead();
Contestant qsettingsSave(const std::filesystem::path& folder, int groups, int settingsOfEach);
void qsettingsPrepare(const std::filesystem::path& folder, int groups, int settings);
StartFigures qsettingsStart(const std::filesystem::path& folder, int groups, int settings);
#endif
#ifdef HAVE_KCONFIG
Contestant kconfigRead();
Contestant kconfigSave(const std::filesystem::path& folder, int groups, int settingsOfEach);
void kconfigPrepare(const std::filesystem::path& folder, int groups, int settings);
StartFigures kconfigStart(const std::filesystem::path& folder, int groups, int settings);
#endif

void addPeers([[maybe_unused]] Row& defaultRead) {
#ifdef HAVE_QSETTINGS
    defaultRead.contestants.push_back(qsettingsRead());
#endif
#ifdef HAVE_KCONFIG
    defaultRead.contestants.push_back(kconfigRead());
#endif
}

Contestant savingPeer(std::string name, std::function<void(int, int, double)> set, std::function<void()> sync,
                      int groups, int settingsOfEach) {
    for (int g = 0; g < groupCount; ++g)
        for (int s = 0; s < settingsPerGroup; ++s)
            set(g, s, double(g * settingsPerGroup + s));
    sync();
    return {std::move(name), [=, value = 1e6]() mutable {
                for (int g = 0; g < groups; ++g)
                    for (int s = 0; s < settingsOfEach; ++s)
                        set(g, s, value += 1);
                sync();
                return std::uint64_t(1);
            }};
}

void addSavingPeers([[maybe_unused]] Row& oneValue, [[maybe_unused]] Row& thousandValues,
                    [[maybe_unused]] const std::filesystem::path& folder) {
#ifdef HAVE_QSETTINGS
    oneValue.contestants.push_back(qsettingsSave(folder, 1, 1));
    thousandValues.contestants.push_back(qsettingsSave(folder, groupCount, 10));
#endif
#ifdef HAVE_KCONFIG
    oneValue.contestants.push_back(kconfigSave(folder, 1, 1));
    thousandValues.contestants.push_back(kconfigSave(folder, groupCount, 10));
#endif
}

std::vector<std::string> startPeers() {
    std::vector<std::string> peers;
#ifdef HAVE_QSETTINGS
    peers.emplace_back("QSettings");
#endif
#ifdef HAVE_KCONFIG
    peers.emplace_back("KConfig");
#endif
    return peers;
}

void prepareStartPeers([[maybe_unused]] const std::filesystem::path& folder, [[maybe_unused]] int groups,
                       [[maybe_unused]] int settings) {
#ifdef HAVE_QSETTINGS
    qsettingsPrepare(folder, groups, settings);
#endif
#ifdef HAVE_KCONFIG
    kconfigPrepare(folder, groups, settings);
#endif
}

StartFigures startPeer([[maybe_unused]] const std::string& peer,
                       [[maybe_unused]] const std::filesystem::path& folder, [[maybe_unused]] int groups,
                       [[maybe_unused]] int settings) {
#ifdef HAVE_QSETTINGS
    if (peer == "QSettings")
        return qsettingsStart(folder, groups, settings);
#endif
#ifdef HAVE_KCONFIG
    if (peer == "KConfig")
        return kconfigStart(folder, groups, settings);
#endif
    return {};
}

} // namespace bench
