#include "log/DefaultSink.hpp"

#include "log/StandardError.hpp"

#include <boost/log/attributes/constant.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/trivial.hpp>
#include <boost/log/utility/setup/common_attributes.hpp>
#include <boost/smart_ptr/make_shared_object.hpp>

#include <atomic>
#include <cstdio>
#include <ctime>
#include <string>

namespace varnek::log {
namespace {

namespace logging = boost::log;

/// "2026-01-31T09:30:00.250Z".
std::string timeStamp() {
    std::timespec now{};
    std::timespec_get(&now, TIME_UTC);
    std::tm parts{};
    ::gmtime_r(&now.tv_sec, &parts);
    char text[40];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%03ldZ", now.tv_nsec / 1'000'000);
    return text;
}

std::string line(std::string_view time, std::string_view level, std::string_view channel,
                 std::string_view text) {
    std::string result;
    result.append(time).append(" [").append(level).append("] ").append(channel).append(": ").append(text);
    return result += '\n';
}

logging::trivial::severity_level levelOf(Severity severity) {
    switch (severity) {
    case Severity::debug:
        return logging::trivial::debug;
    case Severity::info:
        return logging::trivial::info;
    case Severity::warning:
        return logging::trivial::warning;
    default:
        return logging::trivial::error;
    }
}

/// Set by records of this library, so that the sink leaves those of the host to the sinks of the host.
const char* const markName = "VarnekLog";

class StandardErrorBackend : public logging::sinks::basic_sink_backend<logging::sinks::concurrent_feeding> {
  public:
    void consume(const logging::record_view& record) {
        const auto severity = logging::extract_or_default<logging::trivial::severity_level>(
            "Severity", record, logging::trivial::error);
        writeToStandardError(
            line(logging::extract_or_default<std::string>("TimeStamp", record, std::string()),
                 logging::trivial::to_string(severity),
                 logging::extract_or_default<std::string>("Channel", record, std::string()),
                 logging::extract_or_default<std::string>("Message", record, std::string())));
    }
};

/// Never destroyed, and keeps the core alive: other threads may log while the process ends.
struct Output {
    Output() : core(logging::core::get()) {
        const auto sink = boost::make_shared<logging::sinks::unlocked_sink<StandardErrorBackend>>();
        sink->set_filter(
            [](const logging::attribute_value_set& values) { return values.count(markName) != 0; });
        core->add_sink(sink);
    }
    logging::core_ptr core;
};

std::atomic<bool> processEnds{false};

/// Made after the core, so destroyed before it.
struct EndOfProcess {
    ~EndOfProcess() { processEnds = true; }
};

Output& output() {
    static Output* const instance = new Output;
    static const EndOfProcess end;
    static_cast<void>(end);
    return *instance;
}

void add(logging::attribute_set& attributes, const char* name, const logging::attribute& attribute) {
    attributes.insert(logging::attribute_name(name), attribute);
}

} // namespace

void writeThroughBoostLog(std::string_view channel, Severity severity, std::string_view text) {
    const auto level = levelOf(severity);
    if (processEnds) {
        writeToStandardError(line(timeStamp(), logging::trivial::to_string(level), channel, text));
        return;
    }
    Output& out = output();
    logging::attribute_set attributes;
    add(attributes, "Channel", logging::attributes::make_constant(std::string(channel)));
    add(attributes, "Severity", logging::attributes::make_constant(level));
    add(attributes, "TimeStamp", logging::attributes::make_constant(timeStamp()));
    add(attributes, markName, logging::attributes::make_constant(true));
    if (logging::record record = out.core->open_record(attributes)) {
        logging::record_ostream stream(record);
        stream << text;
        stream.flush();
        stream.detach_from_record();
        out.core->push_record(std::move(record));
    }
}

} // namespace varnek::log
