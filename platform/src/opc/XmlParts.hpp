// The XML parts of a package: content types, relationships, core properties. Everything is UTF-8 text here.
#pragma once

#include "opc/qfservices/CoreProperties.hpp"

#include <map>
#include <span>
#include <string>
#include <string_view>

namespace opc::detail {

inline constexpr std::string_view relationshipsType =
    "application/vnd.openxmlformats-package.relationships+xml";
inline constexpr std::string_view corePropertiesType =
    "application/vnd.openxmlformats-package.core-properties+xml";

/// Content types by part name and by extension.
class ContentTypes {
  public:
    /// Throws Refusal (damaged).
    static ContentTypes parse(std::string_view xml);
    /// The type of a part; that of unknown bytes when the package does not say.
    const std::string& of(std::string_view name) const;

  private:
    std::map<std::string, std::string, std::less<>> byName_, byExtension_; // extensions in small letters
};

struct TypedName {
    std::string_view name;
    std::string_view type;
};

/// The content-types part for these parts; depends on their order, which should be a sorted one.
std::string writeContentTypes(std::span<const TypedName> parts);

bool isContentType(std::string_view text) noexcept;

/// Name of the part that the package's relationships name as core properties; empty when there is none.
/// Throws Refusal (damaged).
std::string findCoreProperties(std::string_view relationshipsXml);

/// The package's relationships with one to the core properties added. `xml` is empty or what the package had.
std::string addCoreProperties(std::string_view xml, std::string_view corePartName);

/// Throws Refusal (damaged); `partName` is for the message.
qfservices::CoreProperties parseCoreProperties(std::string_view xml, std::string_view partName);

/// Throws Refusal (unsupported) for text that XML cannot carry.
std::string writeCoreProperties(const qfservices::CoreProperties& properties);

} // namespace opc::detail
