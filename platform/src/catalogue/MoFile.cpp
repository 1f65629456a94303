#include "catalogue/MoFile.hpp"

#include <cstdint>
#include <cstring>

namespace varnek::catalogue {
namespace {

constexpr std::uint32_t magic = 0x950412DE;
constexpr std::size_t headerSize = 28;
constexpr std::uint32_t leastHashEntries = 3; // the reader divides by this less 2
constexpr std::uint32_t longestInformation = 2048;

class Words {
  public:
    explicit Words(std::span<const char> file) noexcept : file_(file) {}

    /// In the byte order of the file.
    std::uint32_t at(std::size_t offset) const noexcept {
        std::uint32_t word = 0;
        std::memcpy(&word, file_.data() + offset, sizeof word);
        return swapped_ ? __builtin_bswap32(word) : word;
    }
    bool hasMagic() noexcept {
        swapped_ = at(0) == __builtin_bswap32(magic);
        return at(0) == magic;
    }
    bool contains(std::uint64_t offset, std::uint64_t size) const noexcept {
        return offset <= file_.size() && size <= file_.size() - offset;
    }
    /// Whether `count` descriptors (length, offset) stand there, each of a text inside the file.
    bool hasTexts(std::uint64_t table, std::uint64_t count) const noexcept {
        if (!contains(table, count * 8))
            return false;
        for (std::uint64_t entry = table; entry < table + count * 8; entry += 8) {
            const std::uint64_t length = at(entry), offset = at(entry + 4);
            if (!contains(offset, length + 1) || file_[offset + length] != '\0')
                return false;
        }
        return true;
    }

  private:
    std::span<const char> file_;
    bool swapped_ = false;
};

} // namespace

const char* faultOfMoFile(std::span<const char> file) noexcept {
    Words words(file);
    if (file.size() < headerSize || !words.hasMagic())
        return "it is no compiled gettext file";
    if (words.at(4) >> 16 > 1)
        return "it has an unknown format revision";
    const std::uint32_t count = words.at(8);
    if (!words.hasTexts(words.at(12), count) || !words.hasTexts(words.at(16), count))
        return "it is damaged: a text lies outside the file";
    // The text of the empty id comes first. It holds a plural rule, which the reader takes apart recursively.
    if (count != 0 && words.at(words.at(12)) == 0 && words.at(words.at(16)) > longestInformation)
        return "the information about the translation is too long";
    const std::uint64_t hashEntries = words.at(20), hashTable = words.at(24);
    if (hashEntries != 0 && (hashEntries < leastHashEntries || !words.contains(hashTable, hashEntries * 4)))
        return "it is damaged: its hash table lies outside the file";
    for (std::uint64_t i = 0; i < hashEntries; ++i)
        if (words.at(hashTable + i * 4) > count)
            return "it is damaged: its hash table names a missing text";
    return nullptr;
}

} // namespace varnek::catalogue
