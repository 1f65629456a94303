#include "json/ValueBuilder.hpp"

#include "json/Limits.hpp"
#include "json/PathText.hpp"
#include "json/Utf8.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace varnek::json::detail {

ValueBuilder::ValueBuilder(bool mayHoldSurrogates) : mayHoldSurrogates_(mayHoldSurrogates) {
    constexpr std::size_t usualCount = 128;
    members_.reserve(usualCount);
    elements_.reserve(usualCount);
    open_.reserve(maximumDepth);
}

bool ValueBuilder::refuse(ParseFailure failure, Code& code) {
    failure_ = failure;
    code = boost::json::error::input_error;
    return false;
}

bool ValueBuilder::on_key(View rest, std::size_t, Code& code) {
    const Member& member = members_.emplace_back(Member{takeText(rest), Value()});
    afterValue_ = false;
    if (mayHoldSurrogates_ && findInvalidUtf8(member.key) != std::string_view::npos)
        return refuse(ParseFailure::encoding, code);
    return true;
}

bool ValueBuilder::on_double(double estimate, View token, Code& code) {
    double number = 0;
    const auto [stop, error] = std::from_chars(token.data(), token.data() + token.size(), number);
    if (error == std::errc::result_out_of_range) {
        // The estimate is wrong in its last digits only: good enough to tell too large from too small.
        if (!(std::abs(estimate) < 1))
            return refuse(ParseFailure::numberRange, code);
        number = std::copysign(0.0, estimate);
    }
    return add(number);
}

bool ValueBuilder::on_array_end(std::size_t, Code&) {
    const std::size_t first = open_.back().firstElement;
    auto array = Array::moved(elements_.data() + first, elements_.size() - first);
    elements_.resize(first);
    open_.pop_back();
    return add(std::move(array));
}

bool ValueBuilder::on_object_end(std::size_t, Code& code) {
    const std::size_t first = open_.back().firstMember;
    auto members = Sequence<Member>::moved(members_.data() + first, members_.size() - first);
    members_.resize(first);
    auto object = Object::fromMembers(members);
    if (!object) {
        refuseDuplicate(members);
        return refuse(ParseFailure::duplicateKey, code);
    }
    open_.pop_back();
    return add(std::move(*object));
}

void ValueBuilder::refuseDuplicate(const Sequence<Member>& sorted) {
    const auto twice = std::adjacent_find(sorted.begin(), sorted.end(),
                                          [](const Member& a, const Member& b) { return a.key == b.key; });
    duplicateKey_ = std::string(twice->key.view());
}

std::string ValueBuilder::path() const {
    std::string path = "$";
    for (std::size_t i = 0; i < open_.size(); ++i) {
        const bool innermost = i + 1 == open_.size();
        if (open_[i].isObject) {
            const std::size_t end = innermost ? members_.size() : open_[i + 1].firstMember;
            if (end > open_[i].firstMember)
                appendKey(path, members_[end - 1].key);
        } else {
            const std::size_t end = innermost ? elements_.size() : open_[i + 1].firstElement;
            appendIndex(path, end - open_[i].firstElement);
        }
    }
    if (duplicateKey_)
        appendKey(path, *duplicateKey_);
    return path;
}

} // namespace varnek::json::detail
