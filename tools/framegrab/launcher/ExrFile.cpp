#include "launcher/ExrFile.h"

#include "launcher/InternalFormat.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfIntAttribute.h>
#include <ImfOutputFile.h>
#include <ImfStringAttribute.h>
#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace Framegrab {

namespace {

Imf::PixelType TypeInFile(ValueType type)
{
    switch (type) {
    case ValueType::Half:
        return Imf::HALF;
    case ValueType::UInt8:
    case ValueType::UInt32:
    case ValueType::Int32:
        return Imf::UINT;
    default:
        return Imf::FLOAT;
    }
}

std::string_view ChannelNames(Buffer buffer)
{
    switch (buffer) {
    case Buffer::Depth:
        return "Z";
    case Buffer::Stencil:
        return "S";
    case Buffer::Color:
        break;
    }
    return "RGBA";
}

Imf::Header HeaderFor(const Picture& picture, const Values& values, const ExrNotes& notes)
{
    Imf::Header header(static_cast<int>(values.width), static_cast<int>(values.height));
    header.compression() = Imf::ZIP_COMPRESSION;
    const auto number = [&](const char* name, std::uint32_t value) {
        header.insert(name, Imf::IntAttribute(static_cast<int>(value)));
    };
    const auto text = [&](const char* name, const std::string& value) {
        header.insert(name, Imf::StringAttribute(value));
    };
    number("frame", static_cast<std::uint32_t>(picture.frame));
    number("process", picture.process);
    number("surface", picture.surface);
    number("target", picture.target);
    text("glInternalFormat", InternalFormatName(picture.internalFormat));
    text("buffer", BufferName(picture));
    text("program", notes.program);
    if (notes.isSrgb) {
        text("encoding", "sRGB");
    }
    if (values.type == ValueType::Int32) {
        text("integers", "two's complement");
    }
    if (!notes.isExact) {
        text("exact", "no");
    }
    return header;
}

/// A file that tells what went wrong with it: the library's own keeps quiet of what fails at its end.
class FileStream : public Imf::OStream
{
public:
    explicit FileStream(const std::string& path)
        : Imf::OStream(path.c_str()), m_pFile(std::fopen(path.c_str(), "wbe"))
    {
        Check(m_pFile != nullptr);
    }
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;
    ~FileStream() override
    {
        if (m_pFile) {
            std::fclose(m_pFile);
        }
    }

    void write(const char* bytes, int count) override
    {
        const auto size = static_cast<std::size_t>(count);
        Check(std::fwrite(bytes, 1, size, m_pFile) == size);
    }
    std::uint64_t tellp() override { return static_cast<std::uint64_t>(std::ftell(m_pFile)); }
    void seekp(std::uint64_t position) override
    {
        Check(std::fseek(m_pFile, static_cast<long>(position), SEEK_SET) == 0);
    }

    /// Throws what any operation on the file has met.
    void Close()
    {
        Check(std::fclose(std::exchange(m_pFile, nullptr)) == 0);
        if (m_error != 0) {
            throw std::system_error(m_error, std::generic_category());
        }
    }

private:
    void Check(bool isDone)
    {
        if (!isDone) {
            m_error = errno;
            throw std::system_error(m_error, std::generic_category());
        }
    }

    std::FILE* m_pFile;
    int m_error = 0;
};

/// A row of a picture, in memory as the file has it: of types that the file does not know, a copy.
class Row
{
public:
    Row(const Values& values, Imf::PixelType type)
        : m_values(values), m_type(type),
          m_isCopied(values.type != ValueType::Half && values.type != ValueType::Float &&
                     values.type != ValueType::UInt32 && values.type != ValueType::Int32),
          m_copy(m_isCopied ? std::size_t{values.width} * values.channels : 0)
    {}

    /// @param row  from the bottom
    const std::byte* At(std::uint32_t row)
    {
        const std::size_t first = std::size_t{row} * m_values.width;
        if (!m_isCopied) {
            return m_values.data + first * m_values.Pitch();
        }
        for (std::size_t i = 0; i < m_copy.size(); ++i) {
            const std::size_t pixel = first + i / m_values.channels;
            const auto channel = static_cast<std::uint32_t>(i % m_values.channels);
            m_copy[i] = m_type == Imf::UINT ? static_cast<std::uint32_t>(m_values.IntegerAt(pixel, channel))
                                            : std::bit_cast<std::uint32_t>(m_values.NumberAt(pixel, channel));
        }
        return reinterpret_cast<const std::byte*>(m_copy.data());
    }

private:
    const Values& m_values;
    Imf::PixelType m_type;
    bool m_isCopied;
    std::vector<std::uint32_t> m_copy;
};

} // namespace

bool WriteExrFile(const std::string& path, const Picture& picture, const Values& values,
                  const ExrNotes& notes, std::string& error)
{
    try {
        const Imf::PixelType type = TypeInFile(values.type);
        const std::size_t size = type == Imf::HALF ? 2 : 4;
        const std::string_view names = ChannelNames(picture.buffer);
        Imf::Header header = HeaderFor(picture, values, notes);
        const std::size_t channels = std::min<std::size_t>(values.channels, names.size());
        for (std::size_t i = 0; i < channels; ++i) {
            if (values.has[i]) {
                header.channels().insert(std::string(1, names[i]), Imf::Channel(type));
            }
        }
        FileStream stream(path);
        {
            Imf::OutputFile file(stream, header);
            Row row(values, type);
            for (std::uint32_t y = values.height; y-- > 0;) {
                // A stride of 0 between the rows: this one stands for whichever the file wants next.
                const auto* const base = reinterpret_cast<const char*>(row.At(y));
                Imf::FrameBuffer buffer;
                for (std::size_t i = 0; i < channels; ++i) {
                    if (values.has[i]) {
                        buffer.insert(
                            std::string(1, names[i]),
                            Imf::Slice(type, const_cast<char*>(base) + i * size, size * values.channels, 0));
                    }
                }
                file.setFrameBuffer(buffer);
                file.writePixels(1);
            }
        }
        stream.Close();
        return true;
    } catch (const std::system_error& exception) {
        error = exception.code().message();
        return false;
    } catch (const std::exception& exception) {
        error = exception.what();
        return false;
    }
}

} // namespace Framegrab
