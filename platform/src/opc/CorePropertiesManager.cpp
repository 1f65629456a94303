#include "opc/qfservices/CorePropertiesManager.hpp"

#include "opc/Limits.hpp"
#include "opc/NameRules.hpp"
#include "opc/PackageData.hpp"
#include "opc/XmlParts.hpp"

namespace opc::qfservices {

CorePropertiesManager::CorePropertiesManager(const model::Package& package)
    : data_(detail::openData(package)) {}

void CorePropertiesManager::setCoreProperties(const CoreProperties& properties) {
    data_->expectOpen();
    detail::Content& content = data_->content;
    detail::atBorder<WriteError>(data_->path, [&] {
        data_->expectChangeable();
        auto xml = std::make_shared<const std::string>(detail::writeCoreProperties(properties));
        if (xml->size() > limits::xmlBytes)
            throw detail::Refusal{ErrorKind::limitExceeded, std::string(detail::corePropertiesName),
                                  "larger than " + std::to_string(limits::xmlBytes) + " bytes"};
        CoreProperties copy = properties;
        if (content.coreName.empty()) {
            std::string name(detail::corePropertiesName);
            for (const std::string& own : {name, std::string(detail::packageRelationshipsName)})
                if (content.parts.contains(own) || detail::clashesWithFolder(content, own))
                    throw detail::Refusal{ErrorKind::duplicatePart, own, "another part has this name"};
            content.relationships = detail::addCoreProperties(content.relationships, name);
            content.coreName = std::move(name);
        }
        content.coreXml = std::move(xml);
        content.core = std::move(copy);
    });
}

const CoreProperties& CorePropertiesManager::getCoreProperties() const {
    data_->expectOpen();
    return data_->content.core;
}

} // namespace opc::qfservices
