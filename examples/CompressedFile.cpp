// Keeps a file in compressed form, with the compressor named:
//
//     CompressedFile pack|unpack lz77|lz4|zstd IN OUT
//
// A packed file is a row of blocks, each behind a header; a header of zeros ends it. The compressors add
// nothing around a block, so its sizes are here, and a checksum too, since an LZ4 block has none.

#include "Util/CompressorLZ4.h"
#include "Util/CompressorLZ77.h"
#include "Util/CompressorZstd.h"

#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr std::uint32_t BlockSize = 1 << 20;
constexpr std::uint32_t MaxStoredSize = 2 * BlockSize;
constexpr std::uint32_t ChunkSize = 1 << 16;

struct BlockHeader // in the byte order of the machine
{
    std::uint32_t rawSize = 0;
    std::uint32_t storedSize = 0;
    std::uint32_t checksum = 0; ///< CRC-32 of the raw bytes
};

std::uint32_t Checksum(const std::vector<std::uint8_t>& bytes, std::uint32_t size)
{
    return static_cast<std::uint32_t>(crc32(0, bytes.data(), size));
}

std::uint32_t Read(std::istream& in, void* bytes, std::uint32_t size)
{
    in.read(static_cast<char*>(bytes), size);
    if (in.bad()) {
        throw std::runtime_error("cannot be read");
    }
    return static_cast<std::uint32_t>(in.gcount());
}

void Write(std::ostream& out, const void* bytes, std::uint32_t size)
{
    if (!out.write(static_cast<const char*>(bytes), size)) {
        throw std::runtime_error("cannot be written out");
    }
}

void Pack(Util::Compressor& compressor, std::istream& in, std::ostream& out)
{
    std::vector<std::uint8_t> raw(BlockSize);
    BlockHeader header;
    while ((header.rawSize = Read(in, raw.data(), BlockSize)) > 0) {
        std::uint8_t* block = nullptr; // stays the compressor's
        if (!compressor.Encode(raw.data(), header.rawSize, &block, &header.storedSize)) {
            throw std::runtime_error("cannot be compressed");
        }
        header.checksum = Checksum(raw, header.rawSize);
        Write(out, &header, sizeof(header));
        Write(out, block, header.storedSize);
    }
    header = {};
    Write(out, &header, sizeof(header));
}

std::runtime_error Damage(unsigned number)
{
    return std::runtime_error("is damaged: block " + std::to_string(number) + " is not what was packed");
}

void Unpack(Util::Compressor& compressor, std::istream& in, std::ostream& out)
{
    std::vector<std::uint8_t> raw(BlockSize);
    std::vector<std::uint8_t> stored(MaxStoredSize);
    for (unsigned number = 0;; ++number) {
        BlockHeader header;
        if (Read(in, &header, sizeof(header)) != sizeof(header)) {
            throw Damage(number);
        }
        if (header.rawSize == 0 && header.storedSize == 0 && header.checksum == 0) {
            if (in.peek() != std::istream::traits_type::eof()) {
                throw Damage(number); // a header that was lost is zeros as well, but not the end
            }
            return;
        }
        // Nothing in the file is believed before it is checked; Decode stays inside the capacity that it is
        // told.
        std::uint32_t rawSize = 0;
        if (header.rawSize > BlockSize || header.storedSize > MaxStoredSize ||
            Read(in, stored.data(), header.storedSize) != header.storedSize ||
            !compressor.Decode(stored.data(), header.storedSize, raw.data(), header.rawSize, &rawSize) ||
            rawSize != header.rawSize || Checksum(raw, rawSize) != header.checksum) {
            throw Damage(number);
        }
        Write(out, raw.data(), rawSize);
    }
}

/// @return null for a name that is none
std::unique_ptr<Util::Compressor> MakeCompressor(const std::string& codec)
{
    if (codec == "lz77") {
        return std::make_unique<Util::LZ77Compressor>(Util::Compressor::QualityMedium, 0, ChunkSize);
    }
    if (codec == "lz4") {
        return std::make_unique<Util::LZ4Compressor>(Util::Compressor::QualityLow, 0);
    }
    if (codec == "zstd") {
        return std::make_unique<Util::ZstdCompressor>(Util::Compressor::QualityMedium, 0);
    }
    return nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv, argv + argc);
    const bool valid = argc == 5 && (arguments[1] == "pack" || arguments[1] == "unpack");
    const auto compressor = valid ? MakeCompressor(arguments[2]) : nullptr;
    if (!compressor) {
        std::fputs("Usage: CompressedFile pack|unpack lz77|lz4|zstd IN OUT\n", stderr);
        return 2;
    }

    const std::string partName = arguments[4] + ".part"; // what was in OUT is lost only to a whole file
    const auto existing = std::filesystem::symlink_status(arguments[4]);
    std::error_code ignored; // neither need exist
    if (std::filesystem::equivalent(arguments[3], partName, ignored) ||
        (std::filesystem::exists(existing) && !std::filesystem::is_regular_file(existing))) {
        std::fprintf(stderr, "CompressedFile: %s cannot be replaced\n", arguments[4].c_str());
        return 1;
    }
    try {
        std::ifstream in(arguments[3], std::ios::binary);
        if (!in) {
            throw std::runtime_error("cannot be opened");
        }
        std::ofstream out(partName, std::ios::binary);
        (arguments[1] == "pack" ? Pack : Unpack)(*compressor, in, out);
        out.close();
        if (!out) {
            throw std::runtime_error("cannot be written out");
        }
        std::filesystem::rename(partName, arguments[4]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "CompressedFile: %s %s\n", arguments[3].c_str(), error.what());
        std::remove(partName.c_str());
        return 1;
    }
    return 0;
}
