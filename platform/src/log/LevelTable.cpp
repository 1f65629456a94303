#include "log/LevelTable.hpp"

#include "log/StandardError.hpp"

#include <cstdlib>
#include <optional>

namespace varnek::log {
namespace {

constexpr std::string_view everyChannel = "*";

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const auto first = text.find_first_not_of(blanks);
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<Severity> severityOf(std::string_view name) {
    constexpr std::string_view names[] = {"debug", "info", "warning", "error", "off"};
    for (std::size_t i = 0; i < std::size(names); ++i)
        if (name == names[i])
            return static_cast<Severity>(i);
    return std::nullopt;
}

LevelTable* tableFromEnvironment() {
    const char* variable = ::secure_getenv("VKSETTINGS_LOG");
    const LevelSettings settings = parseLevels(variable != nullptr ? variable : "");
    for (const std::string& fault : settings.faults)
        writeToStandardError("VKSETTINGS_LOG: \"" + escaped(fault) +
                             "\" is not channel:level (debug, info, warning, error, off)\n");
    return new LevelTable(settings);
}

} // namespace

LevelSettings parseLevels(std::string_view text) {
    LevelSettings settings;
    while (!text.empty()) {
        const std::string_view item = trimmed(text.substr(0, text.find(',')));
        text.remove_prefix(
            std::min(text.size(), text.find(',') == text.npos ? text.size() : text.find(',') + 1));
        if (item.empty())
            continue;
        const auto colon = item.rfind(':'); // channel names contain "::"
        const auto channel = trimmed(item.substr(0, colon == item.npos ? 0 : colon));
        const auto severity =
            severityOf(colon == item.npos ? std::string_view() : trimmed(item.substr(colon + 1)));
        if (channel.empty() || !severity)
            settings.faults.emplace_back(item);
        else
            settings.levels.insert_or_assign(std::string(channel), *severity);
    }
    return settings;
}

LevelTable& LevelTable::instance() {
    static LevelTable* const table = tableFromEnvironment();
    return *table;
}

LevelTable::LevelTable(const LevelSettings& settings) {
    if (const auto all = settings.levels.find(everyChannel); all != settings.levels.end())
        initial_ = all->second;
    for (const auto& [channel, severity] : settings.levels)
        if (channel != everyChannel)
            find(channel).level = static_cast<std::uint8_t>(severity);
}

const detail::ChannelState& LevelTable::state(std::string_view channel) {
    const std::lock_guard lock(mutex_);
    return find(channel);
}

void LevelTable::set(std::string_view channel, Severity severity) {
    const std::lock_guard lock(mutex_);
    if (channel != everyChannel) {
        find(channel).level = static_cast<std::uint8_t>(severity);
        return;
    }
    initial_ = severity;
    for (auto& [name, state] : states_)
        state.level = static_cast<std::uint8_t>(severity);
}

detail::ChannelState& LevelTable::find(std::string_view channel) {
    if (const auto found = states_.find(channel); found != states_.end())
        return found->second;
    detail::ChannelState& state = states_[std::string(channel)];
    state.level = static_cast<std::uint8_t>(initial_);
    state.name = channel;
    return state;
}

} // namespace varnek::log
