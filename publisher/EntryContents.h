#pragma once

#include "support/ZipArchive.h"
#include "trust/Blake2b.h"

#include <memory>
#include <string_view>

struct z_stream_s;

namespace publisher {

/**
 * Inflates one entry of an archive piece by piece and hashes it, for entries of any size.
 *
 * Functions throw IOException with the reason alone if the entry is not what its archive says.
 */
class EntryContents
{
public:
    /** @p entry must outlive this object. */
    explicit EntryContents(const zk::ZipEntry& entry);
    ~EntryContents();
    EntryContents(const EntryContents&) = delete;
    EntryContents& operator=(const EntryContents&) = delete;

    /** The next of the packed bytes, all of which belong to the entry. */
    void addPacked(std::string_view packed);
    /** The hash of the contents, after all of the packed bytes. */
    [[nodiscard]] trust::Blake2b256::Digest hash();

private:
    const zk::ZipEntry& m_entry;
    std::unique_ptr<z_stream_s> m_inflater; //!< null if the entry is stored
    bool m_isAtEnd = false;                 //!< of the deflated stream
    trust::Blake2b256 m_hash;
    quint64 m_size = 0;
    quint32 m_crc = 0;

    void add(std::string_view bytes);
};

} // namespace publisher
