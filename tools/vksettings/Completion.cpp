#include "Completion.hpp"

#include "Tree.hpp"
#include "Words.hpp"

#include "settingscore/level/LevelIndex.hpp"

#include <algorithm>
#include <filesystem>

namespace vksettings {

namespace {

/// Whole words that fit, in the order in which they are shown.
class Candidates {
  public:
    explicit Candidates(std::string begun) : begun_(std::move(begun)) {}

    const std::string& begun() const { return begun_; }
    /// `isWhole`: nothing more belongs to the word.
    void offer(std::string word, bool isWhole = true) {
        if (word.starts_with(begun_))
            all_.push_back({std::move(word), isWhole});
    }
    Completion result(char quote) {
        if (all_.empty())
            return {};
        std::sort(all_.begin(), all_.end(), [](const Word& a, const Word& b) { return a.text < b.text; });
        const std::string& first = all_.front().text;
        const std::string& last = all_.back().text;
        std::size_t same =
            std::mismatch(first.begin(), first.end(), last.begin(), last.end()).first - first.begin();
        while (same < first.size() && isInsideCharacter(first[same]))
            --same;
        Completion completion;
        completion.insert =
            quotedPart(std::string_view(first).substr(begun_.size(), same - begun_.size()), quote);
        if (all_.size() > 1)
            for (const Word& word : all_)
                completion.choices.push_back(word.text);
        else if (all_.front().isWhole)
            completion.insert.append(quote == 0 ? 0 : 1, quote).append(" ");
        return completion;
    }

  private:
    struct Word {
        std::string text;
        bool isWhole;
    };
    static bool isInsideCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

    const std::string begun_;
    std::vector<Word> all_;
};

/// Names may hold dots themselves, so that every group whose name fits is looked into.
void offerNames(Candidates& candidates, const Handle& group, const std::string& above) {
    for (const Handle& child : group->getChildren()) {
        const std::string name = above + child->getName();
        const bool isGroup = !child->isLeafNode();
        if (isGroup && candidates.begun().starts_with(name + '.'))
            offerNames(candidates, child, name + '.');
        else if (child->isVisible())
            candidates.offer(isGroup ? name + '.' : name, !isGroup);
    }
}

void offerPaths(Candidates& candidates) {
    const std::size_t slash = candidates.begun().rfind('/');
    const std::string folder = slash == std::string::npos ? "" : candidates.begun().substr(0, slash + 1);
    std::error_code failure;
    const std::filesystem::path where = folder.empty() ? "." : folder;
    for (std::filesystem::directory_iterator entry(where, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        std::error_code ignored;
        const std::string name = entry->path().filename().string();
        const bool isFolder = entry->is_directory(ignored);
        if (name[0] != '.' || candidates.begun().size() > folder.size())
            candidates.offer(folder + name + (isFolder ? "/" : ""), !isFolder);
    }
}

void offer(Candidates& candidates, Operand operand) {
    switch (operand) {
    case Operand::name:
        return offerNames(candidates, root(), "");
    case Operand::path:
        return offerPaths(candidates);
    case Operand::level:
        for (const auto level : settings::core::levelsInOrder)
            candidates.offer(std::string(settings::core::levelName(level)));
        return;
    case Operand::other:
        return;
    }
}

/// Goes through the words before the last one.
class Place {
  public:
    Place(const CommandWords& commands, const std::vector<std::string>& words) : command_(&commands) {
        for (const std::string& word : words)
            pass(word);
    }

    void offerTo(Candidates& candidates) const {
        if (option_ != nullptr)
            return offer(candidates, *option_);
        if (areOptionsOver_ || !candidates.begun().starts_with('-')) {
            if (operandsPassed_ == 0)
                for (const CommandWords& below : command_->commands)
                    candidates.offer(below.name);
            if (!command_->operands.empty())
                offer(candidates,
                      command_->operands[std::min(operandsPassed_, command_->operands.size() - 1)]);
            return;
        }
        for (const std::string& flag : command_->flags)
            candidates.offer(flag);
        for (const auto& [name, operand] : command_->options)
            candidates.offer(name);
    }

  private:
    void pass(const std::string& word) {
        if (option_ != nullptr) {
            option_ = nullptr;
        } else if (!areOptionsOver_ && word.starts_with('-')) {
            areOptionsOver_ = word == "--";
            if (const auto found = command_->options.find(word); found != command_->options.end())
                option_ = &found->second;
        } else if (const CommandWords* below = commandCalled(word)) {
            command_ = below;
        } else {
            ++operandsPassed_;
        }
    }
    const CommandWords* commandCalled(const std::string& word) const {
        const auto found = std::find_if(command_->commands.begin(), command_->commands.end(),
                                        [&](const CommandWords& below) { return below.name == word; });
        return operandsPassed_ != 0 || found == command_->commands.end() ? nullptr : &*found;
    }

    const CommandWords* command_;
    const Operand* option_ = nullptr; // whose value comes next
    bool areOptionsOver_ = false;
    std::size_t operandsPassed_ = 0;
};

} // namespace

Completion complete(const CommandWords& commands, std::string_view begun) {
    try {
        BegunLine line = begunLine(begun);
        Candidates candidates(std::move(line.last));
        Place(commands, line.words).offerTo(candidates);
        return candidates.result(line.quote);
    } catch (const std::exception&) { // the command that needs it says what is wrong
        return {};
    }
}

} // namespace vksettings
