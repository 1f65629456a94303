#include "varnek/log/Channel.hpp"

#include "log/DefaultSink.hpp"
#include "log/LevelTable.hpp"
#include "log/StandardError.hpp"

#include <locale>
#include <memory>
#include <mutex>

namespace varnek::log {
namespace {

/// Never destroyed.
struct SinkHolder {
    std::mutex mutex; // guards sink; not held while it is called
    std::shared_ptr<const Sink> sink;
};

SinkHolder& holder() {
    static SinkHolder* const instance = new SinkHolder;
    return *instance;
}

thread_local bool insideSink = false;

void deliver(std::string_view channel, Severity severity, std::string_view text) {
    std::shared_ptr<const Sink> sink;
    {
        const std::lock_guard lock(holder().mutex);
        sink = holder().sink;
    }
    if (sink)
        (*sink)(channel, severity, text);
    else
        writeThroughBoostLog(channel, severity, text);
}

} // namespace

Channel::Channel(std::string_view name) noexcept : state_(nullptr) {
    try {
        state_ = &LevelTable::instance().state(name);
    } catch (...) {
        state_ = nullptr; // stays off
    }
}

const std::string& Channel::name() const noexcept {
    static const std::string* const none = new std::string;
    return state_ != nullptr ? state_->name : *none;
}

void Channel::write(Severity severity, std::string_view text) const noexcept {
    if (severity == Severity::off || !enabled(severity) || insideSink)
        return;
    insideSink = true;
    try {
        deliver(state_->name, severity, escaped(text));
    } catch (...) {
        // Logging never fails the caller.
    }
    insideSink = false;
}

void setLevel(std::string_view channel, Severity severity) {
    LevelTable::instance().set(channel, severity);
}

Sink setSink(Sink sink) {
    std::shared_ptr<const Sink> next = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
    {
        const std::lock_guard lock(holder().mutex);
        next.swap(holder().sink);
    }
    return next ? *next : Sink();
}

Record::Record(const Channel& channel, Severity severity) : channel_(channel), severity_(severity) {
    text_.imbue(std::locale::classic());
}

Record::~Record() {
    try {
        channel_.write(severity_, text_.view());
    } catch (...) {
        // Only the line is lost.
    }
}

Record& Record::operator<<(const char* value) {
    text_ << (value != nullptr ? value : "(null)");
    return *this;
}

Record& Record::operator<<(std::u16string_view value) {
    text_ << utf8Of(value);
    return *this;
}

} // namespace varnek::log
