#include "settingscore/settings/root/LoadProblems.hpp"

#include <algorithm>

namespace settings::core::detail {

void LoadProblems::set(const std::string& group, std::vector<LoadProblem> problems) {
    const std::lock_guard lock(mutex_);
    ofGroups_[group].definitions = std::move(problems);
}

void LoadProblems::add(const std::string& group, LoadProblem problem) {
    const std::lock_guard lock(mutex_);
    auto& known = ofGroups_[group].definitions;
    const auto isSame = [&](const LoadProblem& other) {
        return other.file == problem.file && other.message == problem.message;
    };
    if (std::none_of(known.begin(), known.end(), isSame))
        known.push_back(std::move(problem));
}

void LoadProblems::setFile(const std::string& group, LevelIndex level, std::optional<LoadProblem> problem) {
    const std::lock_guard lock(mutex_);
    auto& files = ofGroups_[group].files;
    if (problem)
        files.insert_or_assign(level, std::move(*problem));
    else
        files.erase(level);
}

std::vector<LoadProblem> LoadProblems::all() const {
    const std::lock_guard lock(mutex_);
    std::vector<LoadProblem> all;
    for (const auto& [group, problems] : ofGroups_) {
        all.insert(all.end(), problems.definitions.begin(), problems.definitions.end());
        for (const auto& [level, problem] : problems.files)
            all.push_back(problem);
    }
    return all;
}

} // namespace settings::core::detail
