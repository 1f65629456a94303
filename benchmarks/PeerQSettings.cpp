// QSettings: two stores by hand, the personal one first, then the defaults.

#include "Rows.hpp"

#include <QSettings>
#include <QString>

#include <cstdlib>
#include <memory>

namespace bench {

Contestant qsettingsRead() {
    const std::string folder = std::getenv("VARNEK_PREFDIR"); // removed with the other data
    const auto user =
        std::make_shared<QSettings>(QString::fromStdString(folder + "/bench-user.ini"), QSettings::IniFormat);
    const auto defaults = std::make_shared<QSettings>(QString::fromStdString(folder + "/bench-default.ini"),
                                                      QSettings::IniFormat);
    const auto paths = std::make_shared<std::vector<QString>>();
    for (const auto& [g, s] : shuffledKeys()) {
        paths->push_back(QString::fromStdString(groupName(g) + "/" + settingName(s)));
        defaults->setValue(paths->back(), double(g * settingsPerGroup + s));
    }
    return {"QSettings", [user, defaults, paths] {
                double sum = 0;
                for (const QString& path : *paths)
                    sum += (user->contains(path) ? user : defaults)->value(path).toDouble();
                keep(sum);
                return std::uint64_t(paths->size());
            }};
}

Contestant qsettingsSave(const std::filesystem::path& folder, int groups, int settingsOfEach) {
    const auto file = folder / ("qsettings" + std::to_string(groups) + ".ini");
    const auto store =
        std::make_shared<QSettings>(QString::fromStdString(file.string()), QSettings::IniFormat);
    const auto set = [store](int g, int s, double value) {
        store->setValue(QString::fromStdString(groupName(g) + "/" + settingName(s)), value);
    };
    return savingPeer(
        "QSettings", set, [store] { store->sync(); }, groups, settingsOfEach);
}

void qsettingsPrepare(const std::filesystem::path& folder, int groups, int settings) {
    QSettings store(QString::fromStdString((folder / "start.ini").string()), QSettings::IniFormat);
    for (int g = 0; g < groups; ++g)
        for (int s = 0; s < settings; ++s)
            store.setValue(QString::fromStdString(groupName(g) + "/" + settingName(s)), double(g) * 1000 + s);
}

StartFigures qsettingsStart(const std::filesystem::path& folder, int groups, int settings) {
    std::unique_ptr<QSettings> store;
    return timeStart(
        [&] {
            store = std::make_unique<QSettings>(QString::fromStdString((folder / "start.ini").string()),
                                                QSettings::IniFormat);
        },
        [&](int g, int s) {
            return store->value(QString::fromStdString(groupName(g) + "/" + settingName(s))).toDouble();
        },
        groups, settings);
}

} // namespace bench
