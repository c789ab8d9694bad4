#include "launcher/ImageHeader.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace Framegrab {

namespace {

constexpr std::string_view PNGStart("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
constexpr std::string_view BMPStart("BM");

using Header = std::array<char, 26>;

std::uint32_t ByteAt(const Header& header, std::size_t position)
{
    return static_cast<unsigned char>(header[position]);
}

std::uint32_t BigEndianAt(const Header& header, std::size_t position)
{
    return ByteAt(header, position) << 24 | ByteAt(header, position + 1) << 16 |
           ByteAt(header, position + 2) << 8 | ByteAt(header, position + 3);
}

std::uint32_t LittleEndianAt(const Header& header, std::size_t position)
{
    return ByteAt(header, position + 3) << 24 | ByteAt(header, position + 2) << 16 |
           ByteAt(header, position + 1) << 8 | ByteAt(header, position);
}

} // namespace

bool ReadImageHeader(const std::string& path, ImageHeader& file)
{
    Header header{};
    if (!std::ifstream(path, std::ios::binary).read(header.data(), header.size())) {
        return false;
    }
    const std::string_view start(header.data(), header.size());
    ImageHeader result;
    if (start.starts_with(PNGStart)) {
        result.width = BigEndianAt(header, 16);
        result.height = BigEndianAt(header, 20);
    } else if (start.starts_with(BMPStart)) {
        // A negative height stands for rows from the top.
        result.width = LittleEndianAt(header, 18);
        result.height =
            static_cast<std::uint32_t>(std::abs(static_cast<std::int32_t>(LittleEndianAt(header, 22))));
    }
    std::error_code error;
    result.bytes = std::filesystem::file_size(path, error);
    if (result.width == 0 || result.height == 0 || error) {
        return false;
    }
    file = result;
    return true;
}

} // namespace Framegrab
