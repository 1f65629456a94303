/// A value that no settings file could hold.
#pragma once

#include "settingscore/exception/ValidationFailures.hpp"

namespace settings::core::exception {

/// The value, as it stands in a file, would exceed what readers accept: 64 MiB of JSON, nested 64 deep. It is
/// refused on every level, since with it no later save of its group could succeed. The error code is that of
/// DataArraySizeOutOfRange.
class SETTINGSCORE_EXPORT ValueTooLargeForFile : public Cloneable<ValueTooLargeForFile, ValidationException> {
  public:
    explicit ValueTooLargeForFile(ObjectHandle object);
    const char* what() const noexcept override;
};

} // namespace settings::core::exception
