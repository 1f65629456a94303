#include "settingscore/settings/root/LoadProblems.hpp"

namespace settings::core::detail {

void LoadProblems::set(const std::string& group, std::vector<LoadProblem> problems) {
    const std::lock_guard lock(mutex_);
    if (problems.empty())
        ofGroups_.erase(group);
    else
        ofGroups_[group] = std::move(problems);
}

void LoadProblems::add(const std::string& group, LoadProblem problem) {
    const std::lock_guard lock(mutex_);
    ofGroups_[group].push_back(std::move(problem));
}

std::vector<LoadProblem> LoadProblems::all() const {
    const std::lock_guard lock(mutex_);
    std::vector<LoadProblem> all;
    for (const auto& [group, problems] : ofGroups_)
        all.insert(all.end(), problems.begin(), problems.end());
    return all;
}

} // namespace settings::core::detail
