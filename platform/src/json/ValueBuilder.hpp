/// Builds a value from the events of the event parser.
#pragma once

#include "json/ParseError.hpp"
#include "json/Value.hpp"

#include <boost/json/error.hpp>
#include <boost/json/string_view.hpp>

#include <optional>
#include <string>
#include <vector>

namespace varnek::json::detail {

/// Handler of boost::json::basic_parser. Finished values wait on a stack until their container ends. Confined
/// to one call of the parser.
class ValueBuilder {
  public:
    using Code = boost::json::error_code;
    using View = boost::json::string_view;

    // Limits of the event parser: none, since the size of the text bounds them.
    static constexpr std::size_t max_array_size = static_cast<std::size_t>(-1);
    static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
    static constexpr std::size_t max_string_size = static_cast<std::size_t>(-1);
    static constexpr std::size_t max_key_size = static_cast<std::size_t>(-1);

    /// `mayHoldSurrogates`: the text was prepared, so that keys need a look.
    explicit ValueBuilder(bool mayHoldSurrogates);

    /// The finished value; only after the parser reported success.
    Value takeResult() noexcept { return std::move(elements_.back()); }
    /// What an event refused, if one did.
    std::optional<ParseFailure> failure() const noexcept { return failure_; }
    /// True when the last event finished the value of a member.
    bool isAfterMember() const noexcept { return afterValue_ && !open_.empty() && open_.back().isObject; }
    /// Where in the document the last event lies.
    std::string path() const;

    bool on_document_begin(Code&) { return true; }
    bool on_document_end(Code&) { return true; }
    bool on_object_begin(Code&) { return begin(true); }
    bool on_object_end(std::size_t, Code& code);
    bool on_array_begin(Code&) { return begin(false); }
    bool on_array_end(std::size_t, Code&);
    bool on_key_part(View part, std::size_t, Code&) { return addPart(part); }
    bool on_key(View rest, std::size_t, Code& code);
    bool on_string_part(View part, std::size_t, Code&) { return addPart(part); }
    bool on_string(View rest, std::size_t, Code&) { return add(takeText(rest)); }
    bool on_number_part(View, Code&) { return true; }
    bool on_int64(std::int64_t number, View token, Code&) {
        // An integer has no -0.
        return number == 0 && token.front() == '-' ? add(-0.0) : add(number);
    }
    bool on_uint64(std::uint64_t number, View, Code&) { return add(number); }
    bool on_double(double estimate, View token, Code& code);
    bool on_bool(bool value, Code&) { return add(value); }
    bool on_null(Code&) { return add(nullptr); }
    bool on_comment_part(View, Code&) { return true; }
    bool on_comment(View, Code&) { return true; }

  private:
    /// A container that has begun and not ended.
    struct Open {
        bool isObject;
        std::size_t firstMember;
        std::size_t firstElement;
    };

    bool begin(bool isObject) {
        open_.push_back({isObject, members_.size(), elements_.size()});
        afterValue_ = false;
        return true;
    }
    template <class T>
    bool add(T&& value) {
        if (!open_.empty() && open_.back().isObject)
            members_.back().value = Value(std::forward<T>(value));
        else
            elements_.emplace_back(std::forward<T>(value));
        afterValue_ = true;
        return true;
    }
    bool addPart(View part) {
        part_.append(part.data(), part.size());
        return true;
    }
    Text takeText(View rest) {
        if (part_.empty())
            return Text(std::string_view(rest.data(), rest.size()));
        addPart(rest);
        Text text{std::string_view(part_)};
        part_.clear();
        return text;
    }
    bool refuse(ParseFailure failure, Code& code);
    void refuseDuplicate(const Sequence<Member>& sorted);

    std::vector<Member> members_; // of all open objects; the last one of each still waits for its value
    std::vector<Value> elements_; // of all open arrays; in the end the result
    std::vector<Open> open_;
    std::string part_; // the first parts of a string that comes in several
    std::optional<std::string> duplicateKey_;
    std::optional<ParseFailure> failure_;
    bool afterValue_ = false;
    bool mayHoldSurrogates_;
};

} // namespace varnek::json::detail
