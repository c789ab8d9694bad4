#pragma once

#include <stdexcept>
#include <string>
#include <tinyexr.h>
#include <vector>

namespace TestSupport {

/// A file as a decoder sees it that has nothing in common with what wrote it.
struct Exr
{
    explicit Exr(const std::string& path)
    {
        EXRVersion version;
        const char* error = nullptr;
        InitEXRHeader(&header);
        InitEXRImage(&image);
        if (ParseEXRVersionFromFile(&version, path.c_str()) != TINYEXR_SUCCESS ||
            ParseEXRHeaderFromFile(&header, &version, path.c_str(), &error) != TINYEXR_SUCCESS ||
            LoadEXRImageFromFile(&image, &header, path.c_str(), &error) != TINYEXR_SUCCESS) {
            throw std::runtime_error(path + ": " + (error ? error : "no OpenEXR file"));
        }
        for (int i = 0; i < header.num_channels; ++i) {
            channels += header.channels[i].name;
        }
    }
    Exr(const Exr&) = delete;
    Exr& operator=(const Exr&) = delete;
    ~Exr()
    {
        FreeEXRImage(&image);
        FreeEXRHeader(&header);
    }

    /// @return the bits of a channel, bottom row first
    template <typename Bits>
    [[nodiscard]] std::vector<Bits> Channel(char name) const
    {
        const auto* const rows = reinterpret_cast<const Bits*>(image.images[channels.find(name)]);
        std::vector<Bits> bits;
        for (int y = image.height; y-- > 0;) {
            bits.insert(bits.end(), rows + y * image.width, rows + (y + 1) * image.width);
        }
        return bits;
    }

    [[nodiscard]] std::string Attribute(const std::string& name) const
    {
        for (int i = 0; i < header.num_custom_attributes; ++i) {
            const EXRAttribute& attribute = header.custom_attributes[i];
            if (name == attribute.name) {
                return {reinterpret_cast<const char*>(attribute.value),
                        static_cast<std::size_t>(attribute.size)};
            }
        }
        return "";
    }

    EXRHeader header{};
    EXRImage image{};
    std::string channels; ///< their names; they are sorted
};

} // namespace TestSupport
