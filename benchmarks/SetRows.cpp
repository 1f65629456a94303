// Setting a value in memory: with one listener, and a refused one.

#include "Rows.hpp"

#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/exception/Exceptions.hpp"

#include <atomic>

namespace bench {

namespace {

std::atomic<std::uint64_t> heard{0};

} // namespace

std::vector<Row> setRows(const Handle& root) {
    const Handle group = root->getChild(groupName(0));
    const auto sets = [group] {
        static double value = 0;
        for (int i = 0; i < 2000; ++i)
            group->set("setting042", value += 1, "session");
        return std::uint64_t(2000);
    };
    const auto withListener = [sets] {
        settings::core::detail::setEventNotifyFunction([](const auto&) { ++heard; });
        const std::uint64_t count = sets();
        settings::core::detail::setEventNotifyFunction({});
        return count;
    };
    const auto refused = [group] {
        for (int i = 0; i < 2000; ++i)
            try {
                group->set("setting042", 1.0, "factory");
            } catch (const settings::core::exception::CantModifyValuesOnReadOnlyLevel&) {
            }
        return std::uint64_t(2000);
    };
    return {
        {"set of a double on level session, one listener", "<= 1000 ns", {{"this library", withListener}}},
        {"the same without a listener", "", {{"this library", sets}}},
        {"a refused set", "", {{"this library", refused}}}};
}

} // namespace bench
