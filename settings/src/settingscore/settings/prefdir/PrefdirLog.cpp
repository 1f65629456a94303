#include "settingscore/settings/prefdir/PrefdirLog.hpp"

namespace settings::core::detail {

namespace {

varnek::log::Channel channel("settings::core::settingsPathUtil");
thread_local HeldLines* holder = nullptr;

} // namespace

HeldLines::HeldLines() noexcept {
    holder = this;
}

HeldLines::~HeldLines() {
    holder = nullptr;
    for (const auto& [severity, text] : lines_)
        channel.write(severity, text);
}

PrefdirLine::~PrefdirLine() {
    try {
        if (holder != nullptr)
            holder->lines_.emplace_back(severity_, text_.str());
        else
            channel.write(severity_, text_.str());
    } catch (...) { // no memory for a line
    }
}

} // namespace settings::core::detail
