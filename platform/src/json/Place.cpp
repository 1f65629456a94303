#include "json/Place.hpp"

#include "json/PathText.hpp"

#include <vector>

namespace varnek::json {

ConversionError::ConversionError(ConversionFailure failure, std::string detail, std::string path)
    : failure_(failure), detail_(std::move(detail)), path_(std::move(path)),
      text_(detail_ + " (" + path_ + ')') {}

ConversionError::~ConversionError() = default;

namespace detail {

std::string Place::path() const {
    if (parent_ == nullptr)
        return std::string(step_);
    std::string path = parent_->path();
    if (!step_.empty()) {
        appendKey(path, step_);
        return path;
    }
    if (lengths_.empty()) {
        appendIndex(path, index_);
        return path;
    }
    std::vector<std::size_t> indices(lengths_.size());
    std::size_t rest = index_;
    for (std::size_t level = lengths_.size(); level-- > 0; rest /= lengths_[level])
        indices[level] = rest % lengths_[level];
    for (const std::size_t index : indices)
        appendIndex(path, index);
    return path;
}

void Place::fail(ConversionFailure failure, std::string detail) const {
    throw ConversionError(failure, std::move(detail), path());
}

} // namespace detail

} // namespace varnek::json
