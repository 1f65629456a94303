// Adds the peers that this build was made with.

#include "Rows.hpp"

namespace bench {

#ifdef HAVE_QSETTINGS
Contestant qsettingsRead();
Contestant qsettingsSave(const std::filesystem::path& folder, int groups, int settingsOfEach);
#endif
#ifdef HAVE_KCONFIG
Contestant kconfigRead();
Contestant kconfigSave(const std::filesystem::path& folder, int groups, int settingsOfEach);
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

} // namespace bench
