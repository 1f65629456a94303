#include "CommandHistory.hpp"

#include "Descriptor.hpp"

#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/host/Folders.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <exception>

namespace vksettings {

namespace {

constexpr std::uint64_t maxBytes = 1U << 20;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (end != begin)
            lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

} // namespace

CommandHistory::CommandHistory(std::filesystem::path file) : file_(std::move(file)) {
    if (file_.empty())
        return;
    try {
        lines_ = linesOf(varnek::files::readFile(file_, maxBytes));
        if (lines_.size() <= maxLines)
            return;
        const bool isLong = lines_.size() > 2 * maxLines; // not at every start
        lines_.erase(lines_.begin(), lines_.end() - static_cast<std::ptrdiff_t>(maxLines));
        if (!isLong)
            return;
        std::string kept;
        for (const std::string& line : lines_)
            kept.append(line).append("\n");
        varnek::files::replaceFile(file_, kept);
    } catch (const std::exception&) { // as if there were none
    }
}

std::filesystem::path CommandHistory::usualFile() {
    try {
        return varnek::host::userStateFolder() / "vksettings" / "history";
    } catch (const std::exception&) {
        return {};
    }
}

bool CommandHistory::isKept(std::string_view line) {
    return line.find_first_not_of(" \t") == 0 && line.find("--password") == std::string_view::npos &&
           line.find('\n') == std::string_view::npos;
}

void CommandHistory::append(std::string_view line) const {
    if (file_.empty())
        return;
    try {
        varnek::files::createFolders(file_.parent_path());
        const Descriptor descriptor(
            ::open(file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600),
            "history");
        ::fchmod(descriptor.get(), 0600);
        const std::string text = std::string(line) + '\n'; // in one write: sessions do not mix
        [[maybe_unused]] const auto written = ::write(descriptor.get(), text.data(), text.size());
    } catch (const std::exception&) {
    }
}

} // namespace vksettings
