/// What a check of factory files has found so far.
#pragma once

#include "settingscore/factoryfile/FactoryFileCheck.hpp"

#include <string>
#include <utility>
#include <vector>

namespace varnek::settings {

class Findings {
  protected:
    void fail(FindingKind kind, std::string name, std::string message) {
        findings_.push_back({true, kind, std::move(name), std::move(message)});
    }
    void note(FindingKind kind, std::string name, std::string message) {
        findings_.push_back({false, kind, std::move(name), std::move(message)});
    }

    std::vector<FactoryFileFinding> findings_;
};

} // namespace varnek::settings
