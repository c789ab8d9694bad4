#include "Util/PNGFastImage.h"

#include "Util/PixelConversion.h"
#include "Util/QuietWrite.h"

#include <isa-l/crc.h>
#include <png.h>

#include <algorithm>
#include <cstring>

namespace Util {

namespace {

void PutBigEndian(std::uint32_t value, std::uint8_t* bytes)
{
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    }
}

template <typename Change>
void ChangePixels(std::uint8_t* pixels, std::size_t size, Change change)
{
    for (std::size_t i = 0; i < size; i += 4) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, pixels + i, sizeof(pixel));
        pixel = change(pixel);
        std::memcpy(pixels + i, &pixel, sizeof(pixel));
    }
}

class Encoder
{
public:
    Encoder(std::FILE* file, PNGFastMemory& memory) : m_file(file), m_memory(memory)
    {
        isal_deflate_init(&m_stream);
        m_stream.level = 1;
        m_stream.level_buf = m_memory.level.data();
        m_stream.level_buf_size = static_cast<std::uint32_t>(m_memory.level.size());
        m_stream.gzip_flag = IGZIP_ZLIB;
        BeginChunk();
    }

    /// @return false when the file takes no more
    bool Write(const PNGImage& image)
    {
        for (std::size_t y = 0; y < image.height; ++y) {
            if (!PutRow(image.rows[y], y > 0 ? image.rows[y - 1] : nullptr, image)) {
                return false;
            }
        }
        return CompressBand(true) && WriteChunk("IEND", 0);
    }

private:
    /// Filters a row into the band, which is compressed whenever it is full.
    ///
    /// @param above  null in the first row
    bool PutRow(const std::uint8_t* row, const std::uint8_t* above, const PNGImage& image)
    {
        if (m_used == PNGFastMemory::BandBytes && !CompressBand(false)) {
            return false;
        }
        m_memory.band[m_used++] = above ? PNG_FILTER_VALUE_UP : PNG_FILTER_VALUE_NONE;

        const std::size_t unit = image.isBGRA || image.makeOpaque ? 4 : 1; // bytes that stay together
        for (std::size_t x = 0; x < image.rowBytes;) {
            const std::size_t size =
                std::min(image.rowBytes - x, (PNGFastMemory::BandBytes - m_used) / unit * unit);
            if (size == 0) {
                if (!CompressBand(false)) {
                    return false;
                }
                continue;
            }
            FilterPiece(row + x, above ? above + x : nullptr, size, image);
            x += size;
        }
        return true;
    }

    void FilterPiece(const std::uint8_t* row, const std::uint8_t* above, std::size_t size,
                     const PNGImage& image)
    {
        std::uint8_t* const filtered = &m_memory.band[m_used];
        m_used += size;
        if (above) {
            for (std::size_t i = 0; i < size; ++i) {
                filtered[i] = static_cast<std::uint8_t>(row[i] - above[i]);
            }
        } else {
            std::memcpy(filtered, row, size);
        }
        // Passes of their own, over what is still in the nearest cache: compilers vectorise each of them.
        if (image.isBGRA) {
            ChangePixels(filtered, size, SwapFirstAndThirdByte);
        }
        if (image.makeOpaque && above) {
            ChangePixels(filtered, size, [](std::uint32_t pixel) { return pixel & 0x00FFFFFFU; });
        } else if (image.makeOpaque) {
            ChangePixels(filtered, size, [](std::uint32_t pixel) { return pixel | 0xFF000000U; });
        }
    }

    /// Compresses what is in the band; a chunk goes to the file whenever one is full.
    bool CompressBand(bool isLast)
    {
        m_stream.next_in = m_memory.band.data();
        m_stream.avail_in = static_cast<std::uint32_t>(m_used);
        m_stream.end_of_stream = isLast ? 1 : 0;
        m_used = 0;
        for (;;) {
            isal_deflate(&m_stream); // fails for wrong arguments alone
            if (m_stream.avail_out != 0) {
                return !isLast || WriteChunk("IDAT", PNGFastMemory::ChunkBytes - m_stream.avail_out);
            }
            if (!WriteChunk("IDAT", PNGFastMemory::ChunkBytes)) {
                return false;
            }
            BeginChunk();
        }
    }

    void BeginChunk()
    {
        m_stream.next_out = &m_memory.chunk[PNGFastMemory::ChunkDataOffset];
        m_stream.avail_out = static_cast<std::uint32_t>(PNGFastMemory::ChunkBytes);
    }

    /// @param size  bytes of data, which are in the buffer behind the room for length and type
    bool WriteChunk(const char (&type)[5], std::size_t size)
    {
        std::uint8_t* const chunk = m_memory.chunk.data();
        PutBigEndian(static_cast<std::uint32_t>(size), chunk);
        std::memcpy(chunk + PNGFastMemory::ChunkTypeOffset, type,
                    PNGFastMemory::ChunkDataOffset - PNGFastMemory::ChunkTypeOffset);
        const std::uint32_t crc =
            crc32_gzip_refl(0, chunk + PNGFastMemory::ChunkTypeOffset,
                            size + PNGFastMemory::ChunkDataOffset - PNGFastMemory::ChunkTypeOffset);
        PutBigEndian(crc, chunk + PNGFastMemory::ChunkDataOffset + size);
        const std::size_t bytes = PNGFastMemory::ChunkDataOffset + size + PNGFastMemory::ChunkCrcSize;
        return WriteQuietly(m_file, chunk, bytes);
    }

    std::FILE* m_file;
    PNGFastMemory& m_memory;
    isal_zstream& m_stream = m_memory.stream;
    std::size_t m_used = 0; ///< bytes in the band
};

} // namespace

bool WritePNGFastImage(std::FILE* file, PNGFastMemory& memory, const PNGImage& image)
{
    return Encoder(file, memory).Write(image);
}

} // namespace Util
