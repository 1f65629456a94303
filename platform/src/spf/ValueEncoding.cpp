#include "spf/ValueEncoding.hpp"

#include "spf/Limits.hpp"

namespace varnek::spf {

namespace {

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

} // namespace

void Allowance::take(std::size_t values) {
    if (values > limits::values - taken_)
        throw RemoteError(kind_, "A message of more than " + std::to_string(limits::values) + " values");
    taken_ += values;
}

void Allowance::descend(std::size_t depth) const {
    if (depth > limits::depth)
        throw RemoteError(kind_,
                          "A value that is nested deeper than " + std::to_string(limits::depth) + " levels");
}

std::size_t ValueEncoding::size(const Value::List& values, Allowance& allowance, std::size_t depth) {
    allowance.descend(depth);
    std::size_t words = 1 + values.size() * capnp::sizeInWords<wire::Value>();
    for (const Value& value : values)
        words += size(value, allowance, depth);
    return words;
}

std::size_t ValueEncoding::size(const Value& value, Allowance& allowance, std::size_t depth) {
    allowance.take(1);
    return std::visit(Overloaded{
                          [](const auto&) { return std::size_t{0}; },
                          [](const std::string& text) { return wordsOfBytes(text.size()); },
                          [&](const data::Array& array) {
                              return capnp::sizeInWords<wire::Array>() +
                                     arrays::size(array, allowance, depth);
                          },
                          [&](const Value::List& list) { return size(list, allowance, depth + 1); },
                      },
                      value.held_);
}

void ValueEncoding::write(const Value::List& values, capnp::List<wire::Value>::Builder to) {
    for (std::size_t i = 0; i < values.size(); ++i)
        write(values[i], to[static_cast<capnp::uint>(i)]);
}

void ValueEncoding::write(const Value& value, wire::Value::Builder to) {
    std::visit(
        Overloaded{
            [&](std::monostate) { to.setNothing(); },
            [&](bool truth) { to.setTruth(truth); },
            [&](std::int64_t integer) { to.setInteger(integer); },
            [&](const std::string& text) {
                to.setText({reinterpret_cast<const kj::byte*>(text.data()), text.size()});
            },
            [&](const data::Array& array) { arrays::write(array, to.initArray()); },
            [&](const Value::List& list) { write(list, to.initList(static_cast<capnp::uint>(list.size()))); },
        },
        value.held_);
}

Value::List ValueEncoding::read(capnp::List<wire::Value>::Reader from, Allowance& allowance,
                                std::size_t depth) {
    allowance.descend(depth);
    allowance.take(from.size());
    Value::List values;
    values.reserve(from.size());
    for (const wire::Value::Reader value : from)
        values.push_back(read(value, allowance, depth));
    return values;
}

Value ValueEncoding::read(wire::Value::Reader from, Allowance& allowance, std::size_t depth) {
    switch (from.which()) {
    case wire::Value::NOTHING:
        return {};
    case wire::Value::TRUTH:
        return from.getTruth();
    case wire::Value::INTEGER:
        return from.getInteger();
    case wire::Value::TEXT: {
        const auto text = from.getText();
        return std::string(reinterpret_cast<const char*>(text.begin()), text.size());
    }
    case wire::Value::ARRAY:
        return arrays::read(from.getArray(), allowance, depth);
    case wire::Value::LIST:
        return read(from.getList(), allowance, depth + 1);
    }
    throw RemoteError(RemoteErrorKind::malformed, "A value of an unknown kind");
}

} // namespace varnek::spf
