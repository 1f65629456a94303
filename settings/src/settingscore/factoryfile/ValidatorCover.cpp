#include "settingscore/factoryfile/ValidatorCover.hpp"

#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/static_visitor.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace settings::core::detail {

namespace {

enum class Kind { numeric, text, logical };
enum class Shape { any, scalar, vector };

constexpr std::uint64_t noLimit = std::numeric_limits<std::uint64_t>::max();

/// Sizes from `from` to `to`, both included.
struct Sizes {
    std::uint64_t from = 0;
    std::uint64_t to = noLimit;

    bool covers(const Sizes& other) const { return from <= other.from && other.to <= to; }
    bool covers(std::uint64_t size) const { return from <= size && size <= to; }
};

/// Of a bound, 0 is none.
Sizes sizes(const boost::optional<std::uint64_t>& from, const boost::optional<std::uint64_t>& to) {
    return {from.value_or(0), to.value_or(0) == 0 ? noLimit : *to};
}

/// What one validator accepts.
struct Accepted {
    Kind kind = Kind::numeric;
    Shape shape = Shape::any;
    Sizes elements;
    bool isInteger = false;
    double from = -std::numeric_limits<double>::infinity();
    double to = std::numeric_limits<double>::infinity();
    bool takesNaN = true;
    std::vector<std::u16string> choices; // empty: any
    Sizes characters;
};

class Describe : public boost::static_visitor<Accepted> {
  public:
    template <class ShapeClass>
    Accepted operator()(const NumericMetaData<ShapeClass>& data) const {
        Accepted accepted = shaped(data, Kind::numeric);
        accepted.isInteger = data.isIntegerRequired();
        accepted.takesNaN = !accepted.isInteger && !data.getMinValue() && !data.getMaxValue();
        accepted.from = data.getMinValue().value_or(accepted.from);
        accepted.to = data.getMaxValue().value_or(accepted.to);
        if (accepted.isInteger) { // half-way bounds say no more than whole ones
            accepted.from = std::ceil(accepted.from);
            accepted.to = std::floor(accepted.to);
        }
        return accepted;
    }
    template <class ShapeClass>
    Accepted operator()(const StringMetaData<ShapeClass>& data) const {
        Accepted accepted = shaped(data, Kind::text);
        accepted.choices = data.getAllowedValues();
        accepted.characters = sizes(data.getMinStringSize(), data.getMaxStringSize());
        return accepted;
    }
    template <class ShapeClass>
    Accepted operator()(const MustBeLogical<ShapeClass>& data) const {
        return shaped(data, Kind::logical);
    }

  private:
    static Accepted shaped(const AnyShape&, Kind kind) {
        Accepted accepted;
        accepted.kind = kind;
        return accepted;
    }
    static Accepted shaped(const MustBeScalar&, Kind kind) {
        Accepted accepted = shaped(AnyShape(), kind);
        accepted.shape = Shape::scalar;
        return accepted;
    }
    static Accepted shaped(const MustBeVector& vector, Kind kind) {
        Accepted accepted = shaped(AnyShape(), kind);
        accepted.shape = Shape::vector;
        accepted.elements = sizes(vector.getMinNumberOfElements(), vector.getMaxNumberOfElements());
        return accepted;
    }
};

bool coversShape(const Accepted& wide, const Accepted& narrow) {
    switch (wide.shape) {
    case Shape::any:
        return true;
    case Shape::scalar:
        return narrow.shape == Shape::scalar;
    case Shape::vector:
        return narrow.shape == Shape::scalar
                   ? wide.elements.covers(1)
                   : narrow.shape == Shape::vector && wide.elements.covers(narrow.elements);
    }
    return false;
}

bool coversText(const Accepted& wide, const Accepted& narrow) {
    if (narrow.choices.empty())
        return wide.choices.empty() && wide.characters.covers(narrow.characters);
    return std::all_of(narrow.choices.begin(), narrow.choices.end(), [&](const std::u16string& choice) {
        const bool isReachable = narrow.characters.covers(choice.size());
        const bool isListed = wide.choices.empty() || std::find(wide.choices.begin(), wide.choices.end(),
                                                                choice) != wide.choices.end();
        return !isReachable || (isListed && wide.characters.covers(choice.size()));
    });
}

bool coversOne(const Accepted& wide, const Accepted& narrow) {
    if (wide.kind != narrow.kind || !coversShape(wide, narrow))
        return false;
    switch (wide.kind) {
    case Kind::numeric:
        return wide.from <= narrow.from && narrow.to <= wide.to && (narrow.isInteger || !wide.isInteger) &&
               (wide.takesNaN || !narrow.takesNaN);
    case Kind::text:
        return coversText(wide, narrow);
    case Kind::logical:
        return true;
    }
    return false;
}

} // namespace

bool covers(const std::vector<SettingValueValidator::ConfigData>& wide,
            const std::vector<SettingValueValidator::ConfigData>& narrow) {
    if (wide.empty())
        return true;
    std::vector<Accepted> wides;
    for (const auto& validator : wide)
        wides.push_back(boost::apply_visitor(Describe(), validator));
    const auto isCovered = [&](const SettingValueValidator::ConfigData& validator) {
        const Accepted accepted = boost::apply_visitor(Describe(), validator);
        return std::any_of(wides.begin(), wides.end(),
                           [&](const Accepted& each) { return coversOne(each, accepted); });
    };
    return !narrow.empty() && std::all_of(narrow.begin(), narrow.end(), isCovered);
}

} // namespace settings::core::detail
