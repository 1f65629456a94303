#include "settingscore/exception/ValueTooLargeForFile.hpp"

#include "settingscore/exception/MessageText.hpp"

#include <utility>

namespace settings::core::exception {

namespace {

constexpr char text[] = "The value is larger, or nested deeper, than a settings file can hold.";

} // namespace

ValueTooLargeForFile::ValueTooLargeForFile(ObjectHandle object)
    : Cloneable(std::move(object), ObjectHandle(), ValidationErrorCode::dataArraySizeOutOfRange,
                detail::utf16(text)) {}
const char* ValueTooLargeForFile::what() const noexcept {
    return text;
}

} // namespace settings::core::exception
