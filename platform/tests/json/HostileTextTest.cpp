// Texts made to exhaust the stack, the time or the memory of the reader.
#include "json/ArrayConversion.hpp"
#include "json/Limits.hpp"
#include "json/ParseError.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <gtest/gtest.h>

#include <pthread.h>

#include <functional>

namespace varnek::json {

namespace {

/// Runs `work` on a thread with 256 KiB of stack.
void onSmallStack(std::function<void()> work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{256} << 10), 0);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

std::string repeated(std::string_view piece, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += piece;
    return text;
}

TEST(HostileText, NeedsLittleStack) {
    const std::string texts[] = {
        repeated("[", 1'000'000),
        repeated("{\"a\":", 1'000'000),
        repeated("[{\"\":", 500'000),
        repeated("[", maximumDepth) + "\"\\n" + std::string(100'000, 'x') + "\\u00e9\"" +
            repeated("]", maximumDepth),
        repeated("[", maximumDepth) + "1e-99999999999" + repeated("]", maximumDepth),
        repeated("[", maximumDepth) + "\"\\uD800\"" + repeated("]", maximumDepth),
    };
    int accepted = 0;
    int tooDeep = 0;
    onSmallStack([&] {
        for (const std::string& text : texts) {
            try {
                const Value value = parse(text);
                const Value copy = value; // NOLINT(performance-unnecessary-copy-initialization)
                accepted += parse(write(copy)) == value;
            } catch (const ParseError& error) {
                tooDeep += error.failure() == ParseFailure::depth;
            }
        }
    });
    EXPECT_EQ(accepted, 3);
    EXPECT_EQ(tooDeep, 3);
}

TEST(HostileText, TypedCellsInsideEachOtherNeedLittleStack) {
    const std::string opening = "{\"qftype\":\"cell\",\"qfdata\":[";
    int converted = 0;
    onSmallStack([&] {
        const Value value = parse(repeated(opening, 31) + repeated("]}", 31));
        converted += toTyped(fromTyped(value)) == value;
    });
    EXPECT_EQ(converted, 1);
}

// A nesting whose first elements promise 10^15 elements holds a few thousand: it is refused before room is
// made.
TEST(HostileText, PromisedShapesTakeNoMemory) {
    const std::string level = repeated(",0", 99'999) + "]";
    const std::string text = "[[[0" + level + level + level;
    try {
        fromPlain(parse(text));
        FAIL() << "accepted";
    } catch (const ConversionError& error) {
        EXPECT_EQ(error.failure(), ConversionFailure::shape);
        EXPECT_EQ(error.path(), "$[0][1]");
    }
}

TEST(HostileText, LongListsOfKeysAndEscapesTakeLinearTime) {
    std::string keys = "{";
    for (int i = 200'000; i-- > 0;)
        keys.append("\"k").append(std::to_string(i)).append("\":1,");
    keys.back() = '}';
    EXPECT_EQ(parseObject(keys).size(), 200'000U);

    const std::string escapes =
        "[\"" + repeated("\\uD800", 200'000) + "\"," + repeated("1e-99999999999,", 50'000) + "1]";
    EXPECT_EQ(parse(escapes).asArray().size(), 50'002U);
}

} // namespace

} // namespace varnek::json
