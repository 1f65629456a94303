#include "settingscore/factoryfile/InvalidDefinition.hpp"

#include <utility>

namespace varnek::settings {

namespace {

std::string messageOf(const std::string& file, const DefinitionFault& fault) {
    return file + ": " + fault.path + ": " + fault.rule;
}

std::string textOf(const std::string& file, const std::vector<DefinitionFault>& faults) {
    std::string text;
    for (const DefinitionFault& fault : faults)
        text += (text.empty() ? "" : "\n") + messageOf(file, fault);
    return text;
}

} // namespace

InvalidDefinition::InvalidDefinition(std::string file, std::vector<DefinitionFault> faults)
    : file_(std::move(file)), faults_(std::move(faults)), text_(textOf(*file_, *faults_)) {}

const char* InvalidDefinition::what() const noexcept {
    return text_->c_str();
}

std::vector<std::string> InvalidDefinition::getMessages() const {
    std::vector<std::string> messages;
    for (const DefinitionFault& fault : *faults_)
        messages.push_back(messageOf(*file_, fault));
    return messages;
}

} // namespace varnek::settings
