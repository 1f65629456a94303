/// The core properties of a package, those that ECMA-376 part 2 lists.
#pragma once

#include <cstdint>
#include <string>

namespace opc::qfservices {

/// A value. Texts are UTF-8; an empty one means that the property is absent.
struct CoreProperties {
    std::string title;
    std::string contentType;    // what the package as a whole is, not the type of a part
    std::string version;        // here: the release of the product that wrote the package
    std::uint64_t revision = 0; // how often the content changed; 0 = absent

    std::string category;
    std::string contentStatus;
    std::string creator;
    std::string description;
    std::string identifier;
    std::string keywords;
    std::string language;
    std::string lastModifiedBy;
    std::string subject;
    std::string created; // the three dates as W3CDTF texts ("2025-03-01T12:00:00Z"), not interpreted
    std::string modified;
    std::string lastPrinted;

    friend bool operator==(const CoreProperties&, const CoreProperties&) = default;
};

} // namespace opc::qfservices
