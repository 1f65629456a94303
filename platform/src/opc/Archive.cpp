#include "opc/Archive.hpp"

#include "opc/Limits.hpp"
#include "opc/Refusal.hpp"

#include <new>
#include <zip.h>
#include <zlib.h>

namespace opc::detail {
namespace {

// Setting up the packer costs more than it saves on small parts; higher levels cost more than they save on
// JSON.
constexpr std::size_t leastPacked = 1024;
constexpr zip_uint32_t packingLevel = 3;

struct DiscardArchive {
    void operator()(zip_t* archive) const noexcept { zip_discard(archive); }
};
struct FreeSource {
    void operator()(zip_source_t* source) const noexcept { zip_source_free(source); }
};
using ArchiveHandle = std::unique_ptr<zip_t, DiscardArchive>;
using SourceHandle = std::unique_ptr<zip_source_t, FreeSource>;

/// A library error as a refusal.
[[noreturn]] void refuse(const zip_error_t* error, ErrorKind kind, std::string part = {}) {
    const int code = zip_error_code_zip(error);
    if (code == ZIP_ER_MEMORY)
        throw std::bad_alloc();
    if (code == ZIP_ER_WRONGPASSWD)
        kind = ErrorKind::wrongPassword;
    else if (code == ZIP_ER_NOPASSWD)
        kind = ErrorKind::noPassword;
    else if (code == ZIP_ER_COMPNOTSUPP || code == ZIP_ER_ENCRNOTSUPP)
        kind = ErrorKind::unsupported;
    zip_error_t copy = *error; // the text is made in the error itself, which may be const here
    copy.str = nullptr;
    std::string text = zip_error_strerror(&copy);
    zip_error_fini(&copy);
    throw Refusal{kind, std::move(part), std::move(text)};
}

SourceHandle bufferSource(std::string_view bytes, ErrorKind kind) {
    zip_error_t error;
    zip_error_init(&error);
    SourceHandle source(zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error));
    if (!source)
        refuse(&error, kind);
    return source;
}

/// Takes the source over.
ArchiveHandle openArchive(SourceHandle source, int flags, ErrorKind kind) {
    zip_error_t error;
    zip_error_init(&error);
    ArchiveHandle archive(zip_open_from_source(source.get(), flags, &error));
    if (!archive)
        refuse(&error, kind);
    static_cast<void>(source.release()); // libzip owns it now
    return archive;
}

bool sameEntry(zip_t* archive, zip_uint64_t index, const ArchiveEntry& entry) {
    zip_stat_t status;
    zip_stat_init(&status);
    if (zip_stat_index(archive, index, ZIP_FL_ENC_RAW | ZIP_FL_UNCHANGED, &status) != 0)
        return false;
    const std::string name = "/" + std::string(status.name ? status.name : "");
    return name == (entry.folder ? entry.name + "/" : entry.name) && status.size == entry.size &&
           status.comp_size == entry.packedSize && status.crc == entry.crc &&
           (status.encryption_method == ZIP_EM_AES_256) == entry.encrypted;
}

/// Unpacks all of `packed`, which must give exactly the announced number of bytes.
std::string inflated(std::string_view packed, const ArchiveEntry& entry) {
    z_stream stream{};
    constexpr int bareDeflate = -MAX_WBITS; // no header of its own
    const int begun = inflateInit2(&stream, bareDeflate);
    if (begun == Z_MEM_ERROR)
        throw std::bad_alloc();
    if (begun != Z_OK) // another library than this was made for, which says nothing about the bytes
        throw Refusal{ErrorKind::ioFault, entry.name, zError(begun)};
    const std::unique_ptr<z_stream, int (*)(z_stream*)> end(&stream, inflateEnd);
    std::string bytes(std::size_t{entry.size} + 1, '\0'); // one more, so that too much is seen
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    const int result = inflate(&stream, Z_FINISH);
    if (result == Z_MEM_ERROR)
        throw std::bad_alloc();
    if (result == Z_DATA_ERROR || result == Z_NEED_DICT)
        throw Refusal{ErrorKind::damaged, entry.name, "the packed data are damaged"};
    if (result != Z_STREAM_END || stream.avail_in != 0 || stream.total_out != entry.size)
        throw Refusal{ErrorKind::damaged, entry.name, "the size is not as announced"};
    bytes.resize(entry.size);
    return bytes;
}

/// The layout has been checked, so that an entry which is not encrypted needs no archive library.
std::string readPlain(std::string_view archive, const ArchiveEntry& entry) {
    const std::string_view packed = archive.substr(entry.dataOffset, entry.packedSize);
    std::string bytes = entry.method == 0 ? std::string(packed) : inflated(packed, entry);
    if (crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()) != entry.crc)
        throw Refusal{ErrorKind::damaged, entry.name, "the check sum is not that of the data"};
    return bytes;
}

} // namespace

struct ArchiveReader::Encrypted {
    ArchiveHandle archive;
};

ArchiveReader::ArchiveReader(std::string_view archive, const std::vector<ArchiveEntry>& layout)
    : archive_(archive), layout_(layout) {}

ArchiveReader::~ArchiveReader() = default;

void ArchiveReader::openEncrypted() {
    ArchiveHandle opened = openArchive(bufferSource(archive_, ErrorKind::damaged), ZIP_RDONLY | ZIP_CHECKCONS,
                                       ErrorKind::damaged);
    zip_t* const archive = opened.get();
    bool same = zip_get_num_entries(archive, ZIP_FL_UNCHANGED) == static_cast<zip_int64_t>(layout_.size());
    for (std::size_t i = 0; same && i < layout_.size(); ++i)
        same = sameEntry(archive, i, layout_[i]);
    if (!same)
        throw Refusal{ErrorKind::damaged, {}, "the directory is ambiguous"};
    encrypted_.reset(new Encrypted{std::move(opened)});
}

std::string ArchiveReader::read(const ArchiveEntry& entry, const char* password) {
    if (!entry.encrypted)
        return readPlain(archive_, entry);
    if (encrypted_ == nullptr)
        openEncrypted();
    const auto index = static_cast<zip_uint64_t>(&entry - layout_.data());
    zip_t* archive = encrypted_->archive.get();
    zip_file_t* file = zip_fopen_index_encrypted(archive, index, 0, password);
    if (!file)
        refuse(zip_get_error(archive), ErrorKind::damaged, entry.name);
    struct Close {
        void operator()(zip_file_t* opened) const noexcept { zip_fclose(opened); }
    };
    std::unique_ptr<zip_file_t, Close> opened(file);

    // One byte more than announced: the end must come by itself, which is also what verifies the data.
    std::string bytes(std::size_t{entry.size} + 1, '\0');
    std::size_t length = 0;
    for (;;) {
        const zip_int64_t got = zip_fread(file, bytes.data() + length, bytes.size() - length);
        if (got < 0)
            refuse(zip_file_get_error(file), ErrorKind::damaged, entry.name);
        length += static_cast<std::size_t>(got);
        if (got == 0 || length > entry.size)
            break;
    }
    if (length != entry.size)
        throw Refusal{ErrorKind::damaged, entry.name, "the size is not as announced"};
    if (zip_fclose(opened.release()) != 0)
        throw Refusal{ErrorKind::damaged, entry.name, "the check at the end of the data failed"};
    bytes.resize(length);
    return bytes;
}

namespace {

/// Adds one entry whose bytes stay where they are until the archive is closed.
void add(zip_t* archive, const OutgoingEntry& entry, const char* password) {
    const auto failed = [&] {
        refuse(zip_get_error(archive), ErrorKind::unsupported, std::string(entry.name));
    };
    SourceHandle source = bufferSource(entry.bytes, ErrorKind::unsupported);
    const std::string name(entry.name.substr(1));
    const zip_int64_t added = zip_file_add(archive, name.c_str(), source.get(), ZIP_FL_ENC_UTF_8);
    if (added < 0)
        failed();
    static_cast<void>(source.release()); // libzip owns it now
    const auto index = static_cast<zip_uint64_t>(added);
    constexpr zip_uint16_t midnight = 0, firstDay = 1 << 5 | 1; // 1980-01-01, the first that the format knows
    constexpr zip_uint32_t regularFile = 0100644u << 16;
    const zip_int32_t method = entry.bytes.size() < leastPacked ? ZIP_CM_STORE : ZIP_CM_DEFLATE;
    if (zip_set_file_compression(archive, index, method, packingLevel) != 0 ||
        zip_file_set_dostime(archive, index, midnight, firstDay, 0) != 0 ||
        zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX, regularFile) != 0 ||
        (entry.encrypt && zip_file_set_encryption(archive, index, ZIP_EM_AES_256, password) != 0))
        failed();
}

std::string contentOf(zip_source_t* source) {
    zip_stat_t status;
    zip_stat_init(&status);
    if (zip_source_stat(source, &status) != 0 || zip_source_open(source) != 0)
        refuse(zip_source_error(source), ErrorKind::unsupported);
    std::string bytes(status.size, '\0');
    const zip_int64_t got = zip_source_read(source, bytes.data(), bytes.size());
    zip_source_close(source);
    if (got != static_cast<zip_int64_t>(bytes.size()))
        throw Refusal{ErrorKind::unsupported, {}, "the archive could not be built"};
    return bytes;
}

} // namespace

std::string writeArchive(std::span<const OutgoingEntry> entries, const char* password) {
    SourceHandle target = bufferSource({}, ErrorKind::unsupported);
    zip_source_keep(target.get()); // one for us, one for the archive
    ArchiveHandle archive = openArchive(SourceHandle(target.get()), ZIP_TRUNCATE, ErrorKind::unsupported);
    for (const OutgoingEntry& entry : entries)
        add(archive.get(), entry, password);
    if (zip_close(archive.get()) != 0)
        refuse(zip_get_error(archive.get()), ErrorKind::unsupported);
    static_cast<void>(archive.release()); // closed, and so gone
    return contentOf(target.get());
}

} // namespace opc::detail
