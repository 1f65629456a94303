// Packing and unpacking of archives in memory.
#pragma once

#include "opc/ArchiveLayout.hpp"

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace opc::detail {

/// Unpacks the entries of one archive. Keeps references to the archive and its layout.
class ArchiveReader {
  public:
    ArchiveReader(std::string_view archive, const std::vector<ArchiveEntry>& layout);
    ~ArchiveReader();

    /// The bytes of an entry, which is read to its very end, so that its check sum or seal has been verified.
    /// `password` is null or a C text. Throws Refusal; damaged, too, when the library for encrypted entries
    /// sees other entries than the layout does.
    std::string read(const ArchiveEntry& entry, const char* password = nullptr);

  private:
    struct Encrypted;
    void openEncrypted();

    std::string_view archive_;
    const std::vector<ArchiveEntry>& layout_;
    std::unique_ptr<Encrypted> encrypted_; // once one was asked for
};

struct OutgoingEntry {
    std::string_view name; // with leading slash
    std::string_view bytes;
    bool encrypt;
};

/// Packs entries in the given order with fixed times and permissions. `password` is null or a C text, and
/// needed when an entry is to be encrypted. Throws Refusal (unsupported) when the packing library fails.
std::string writeArchive(std::span<const OutgoingEntry> entries, const char* password);

} // namespace opc::detail
