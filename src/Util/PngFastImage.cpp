#include "Util/PngFastImage.h"

#include "Util/PixelConversion.h"

#include <isa-l/igzip_lib.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace Util {

namespace {

/// Rows are filtered and compressed in bands that stay in cache.
constexpr std::size_t BandBytes = 64 * 1024;

/// Size of the IDAT chunks.
constexpr std::size_t ChunkBytes = 64 * 1024;

constexpr std::array<png_byte, 5> ChunkIDAT{'I', 'D', 'A', 'T', 0};
constexpr std::array<png_byte, 5> ChunkIEND{'I', 'E', 'N', 'D', 0};

} // namespace

struct PngFastMemory
{
    isal_zstream stream;
    std::array<std::uint8_t, ISAL_DEF_LVL1_DEFAULT> level;
    std::array<std::uint8_t, BandBytes> band;
    std::array<std::uint8_t, ChunkBytes> chunk;
};

namespace {

// No object here has a destructor: libpng leaves by longjmp.

void BeginStream(PngFastMemory& memory)
{
    isal_deflate_init(&memory.stream);
    memory.stream.level = 1;
    memory.stream.level_buf = memory.level.data();
    memory.stream.level_buf_size = static_cast<std::uint32_t>(memory.level.size());
    memory.stream.gzip_flag = IGZIP_ZLIB;
    memory.stream.next_out = memory.chunk.data();
    memory.stream.avail_out = static_cast<std::uint32_t>(ChunkBytes);
}

void WriteChunk(png_structp png, PngFastMemory& memory)
{
    png_write_chunk(png, ChunkIDAT.data(), memory.chunk.data(), ChunkBytes - memory.stream.avail_out);
    memory.stream.next_out = memory.chunk.data();
    memory.stream.avail_out = static_cast<std::uint32_t>(ChunkBytes);
}

/// Compresses the first `size` bytes of the band; a chunk goes to the file whenever one is full.
void CompressBand(png_structp png, PngFastMemory& memory, std::size_t size, bool isLast)
{
    isal_zstream& stream = memory.stream;
    stream.next_in = memory.band.data();
    stream.avail_in = static_cast<std::uint32_t>(size);
    stream.end_of_stream = isLast ? 1 : 0;
    for (;;) {
        if (isal_deflate(&stream) != COMP_OK) {
            png_error(png, "compression failed");
        }
        if (stream.avail_out != 0) {
            break;
        }
        WriteChunk(png, memory);
    }
    if (isLast) {
        WriteChunk(png, memory);
    }
}

/// Filters a piece of a row and brings its samples into PNG's order.
///
/// @param above  the same piece of the row above; null in the first row
void FilterPiece(const std::uint8_t* row, const std::uint8_t* above, std::size_t size, std::size_t pixelBytes,
                 std::uint8_t* filtered)
{
    if (above) {
        for (std::size_t i = 0; i < size; ++i) {
            filtered[i] = static_cast<std::uint8_t>(row[i] - above[i]);
        }
    } else {
        std::memcpy(filtered, row, size);
    }
    if (pixelBytes == 4) {
        for (std::size_t i = 0; i < size; i += 4) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, filtered + i, sizeof(pixel));
            pixel = SwapFirstAndThirdByte(pixel);
            std::memcpy(filtered + i, &pixel, sizeof(pixel));
        }
    }
}

} // namespace

void DeletePngFastMemory::operator()(PngFastMemory* memory) const
{
    delete memory;
}

PngFastMemoryPtr AllocatePngFastMemory()
{
    // Cleared, since the compressor looks up matches in tables that it does not clear itself: what memory
    // held before would decide between equally good files.
    return PngFastMemoryPtr(new (std::nothrow) PngFastMemory());
}

void WritePngFastImage(png_structp png, PngFastMemory& memory, const PngImage& image)
{
    BeginStream(memory);
    std::size_t used = 0;
    for (std::size_t y = 0; y < image.height; ++y) {
        const std::uint8_t* const row = image.pixels + y * image.rowBytes;
        const std::uint8_t* const above = y > 0 ? row - image.rowBytes : nullptr;
        if (used == BandBytes) {
            CompressBand(png, memory, used, false);
            used = 0;
        }
        memory.band[used++] = above ? PNG_FILTER_VALUE_UP : PNG_FILTER_VALUE_NONE;

        for (std::size_t x = 0; x < image.rowBytes;) {
            const std::size_t room = (BandBytes - used) / image.pixelBytes * image.pixelBytes;
            const std::size_t size = std::min(image.rowBytes - x, room);
            if (size == 0) {
                CompressBand(png, memory, used, false);
                used = 0;
                continue;
            }
            FilterPiece(row + x, above ? above + x : nullptr, size, image.pixelBytes, &memory.band[used]);
            x += size;
            used += size;
        }
    }
    CompressBand(png, memory, used, true);
    png_write_chunk(png, ChunkIEND.data(), nullptr, 0);
}

} // namespace Util
