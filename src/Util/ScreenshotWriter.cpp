#include "Util/ScreenshotWriter.h"

#include "Util/Logging.h"
#include "Util/PNGFastImage.h"
#include "Util/QuietWrite.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace Util {

namespace {

using FourCC = std::array<std::uint8_t, 4>;

constexpr FourCC DDSFourCC{'D', 'D', 'S', ' '};
constexpr FourCC DX10FourCC{'D', 'X', '1', '0'};

/// A file header of little-endian fields, filled from its first byte on.
template <std::size_t Size>
class Header
{
public:
    void Put16(std::uint16_t value) { Put(value, 2); }
    void Put32(std::uint32_t value) { Put(value, 4); }
    void PutBytes(const FourCC& bytes) { m_end = std::copy(bytes.begin(), bytes.end(), m_end); }
    void PutZeros(std::size_t count) { m_end += count; }

    [[nodiscard]] const std::uint8_t* Data() const { return m_bytes.data(); }

private:
    void Put(std::uint32_t value, int bytes)
    {
        for (int i = 0; i < bytes; ++i) {
            *m_end++ = static_cast<std::uint8_t>(value >> 8 * i);
        }
    }

    std::array<std::uint8_t, Size> m_bytes{};
    std::uint8_t* m_end = m_bytes.data();
};

/// Opens a file for writing, never as descriptor 0 to 2: an application that has closed these may write its
/// messages there all the same.
int OpenForWriting(const std::string& path)
{
    if (path.find('\0') != std::string::npos) {
        errno = EINVAL; // what stands before it names another file
        return -1;
    }
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(descriptor);
    errno = error;
    return moved;
}

} // namespace

ScreenshotWriter::ScreenshotWriter() = default;

ScreenshotWriter::~ScreenshotWriter()
{
    // A forked child that exits is here, too, for what its parent has open and goes on writing.
    if (m_pFile && m_owner == getpid()) {
        CloseFile();
    }
}

bool ScreenshotWriter::SupportsFormat(ImageFormat format)
{
    if (format > FormatPNGGray) {
        UTIL_LOG(Core::Log::LevelNote, "Unrecognized screenshot image format %d", static_cast<int>(format));
        return false;
    }
    return format == FormatBMP || format == FormatPNG || format == FormatDDS || format == FormatPNGGray;
}

std::uint32_t ScreenshotWriter::CreateBMPFile(const std::string& fileName, std::uint32_t width,
                                              std::uint32_t height)
{
    std::uint32_t status = OpenFile(fileName);
    if (status == StatusSuccess) {
        status = FinishHeader(WriteBMPHeader(width, height), FormatBMP);
    }
    if (status != StatusSuccess) {
        UTIL_LOG(Core::Log::LevelNote, "ScreenshotWriter::CreateBMPFile failed");
    }
    return status;
}

std::uint32_t ScreenshotWriter::CreateDDSFile(const std::string& fileName, std::uint32_t width,
                                              std::uint32_t height, std::uint32_t depth, std::uint32_t pitch,
                                              std::uint32_t dxgiFormat, std::uint32_t resourceDimension,
                                              std::uint32_t arraySize)
{
    std::uint32_t status = OpenFile(fileName);
    if (status == StatusSuccess) {
        status = FinishHeader(
            WriteDDSHeader(width, height, depth, pitch, dxgiFormat, resourceDimension, arraySize), FormatDDS);
    }
    if (status != StatusSuccess) {
        UTIL_LOG(Core::Log::LevelNote, "ScreenshotWriter::CreateDDSFile failed");
    }
    return status;
}

std::uint32_t ScreenshotWriter::WriteImageData(const std::uint8_t* data, std::size_t size)
{
    if (!m_pFile) {
        return StatusNotOpen;
    }
    if (!data && size != 0) {
        return StatusFailure;
    }
    if (m_fileFormat == FormatPNG || m_fileFormat == FormatPNGGray) {
        return GatherPNG(data, size);
    }
    return WriteBytes(data, size) ? StatusSuccess : StatusFailure;
}

std::uint32_t ScreenshotWriter::CloseFile()
{
    if (!m_pFile) {
        return StatusNotOpen;
    }
    if (m_pPng || m_fileFormat == FormatPNG || m_fileFormat == FormatPNGGray) {
        FinalizePNG();
    }
    const bool isCut = std::ferror(m_pFile) != 0;
    const int result = std::fclose(m_pFile);
    if (result != 0 && !isCut) {
        LogReason("written", errno);
    }
    m_pFile = nullptr;
    m_fileFormat = FormatNone;
    return result == 0 && !isCut ? StatusSuccess : StatusFailure;
}

std::uint32_t ScreenshotWriter::OpenFile(const std::string& fileName)
try {
    if (m_pFile) {
        CloseFile();
    }
    m_hasPNGFailed = false;
    m_fileName = fileName;
    const int descriptor = OpenForWriting(fileName);
    m_pFile = descriptor >= 0 ? fdopen(descriptor, "wb") : nullptr;
    if (!m_pFile) {
        LogReason("created", errno);
        if (descriptor >= 0) {
            close(descriptor);
        }
        return StatusFailure;
    }
    // What a call leaves in a buffer, a forked child would write again, and a full disk would tell too late.
    std::setvbuf(m_pFile, nullptr, _IONBF, 0);
    m_owner = getpid();
    return StatusSuccess;
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for the name
}

std::uint32_t ScreenshotWriter::WriteBMPHeader(std::uint32_t width, std::uint32_t height)
{
    constexpr std::uint32_t FileHeaderSize = 14;
    constexpr std::uint32_t InfoHeaderSize = 40;
    constexpr std::uint32_t PixelOffset = FileHeaderSize + InfoHeaderSize;
    constexpr std::uint32_t PixelsPerMetre = 72; // not the 2835 of 72 dpi: what readers of these files expect

    Header<FileHeaderSize> file;
    file.Put16('B' | 'M' << 8);
    file.Put32(width * height * 4 + PixelOffset); // a BMP file cannot tell a larger size
    file.PutZeros(4);                             // reserved
    file.Put32(PixelOffset);

    Header<InfoHeaderSize> info;
    info.Put32(InfoHeaderSize);
    info.Put32(width);
    info.Put32(height); // positive: bottom row first
    info.Put16(1);      // planes
    info.Put16(32);     // bits a pixel
    info.Put32(0);      // BI_RGB
    info.Put32(0);      // image size, not needed for BI_RGB
    info.Put32(PixelsPerMetre);
    info.Put32(PixelsPerMetre);
    info.PutZeros(8); // colours used, important colours

    const std::uint32_t status = WriteImageData(file.Data(), FileHeaderSize);
    return status != StatusSuccess ? status : WriteImageData(info.Data(), InfoHeaderSize);
}

std::uint32_t ScreenshotWriter::WriteDDSHeader(std::uint32_t width, std::uint32_t height, std::uint32_t depth,
                                               std::uint32_t pitch, std::uint32_t dxgiFormat,
                                               std::uint32_t resourceDimension, std::uint32_t arraySize)
{
    constexpr std::uint32_t HeaderSize = 124;
    constexpr std::uint32_t ExtensionSize = 20;
    constexpr std::uint32_t Flags =
        0x1 | 0x2 | 0x4 | 0x8 | 0x1000; // caps, height, width, pitch, pixel format
    constexpr std::uint32_t PixelFormatSize = 32;
    constexpr std::uint32_t PixelFormatFourCC = 0x4;
    constexpr std::uint32_t CapsTexture = 0x1000;

    Header<HeaderSize> header;
    header.Put32(HeaderSize);
    header.Put32(Flags);
    header.Put32(height);
    header.Put32(width);
    header.Put32(pitch);
    header.Put32(depth);         // readers expect it, though no flag announces it
    header.PutZeros(4 + 11 * 4); // mipmap count, reserved
    header.Put32(PixelFormatSize);
    header.Put32(PixelFormatFourCC);
    header.PutBytes(DX10FourCC);
    header.PutZeros(5 * 4); // bit count and masks, told by the DXGI format instead
    header.Put32(CapsTexture);

    Header<ExtensionSize> extension;
    extension.Put32(dxgiFormat);
    extension.Put32(resourceDimension);
    extension.Put32(0); // misc flag
    extension.Put32(arraySize);

    std::uint32_t status = WriteImageData(DDSFourCC.data(), DDSFourCC.size());
    if (status == StatusSuccess) {
        status = WriteImageData(header.Data(), HeaderSize);
    }
    return status != StatusSuccess ? status : WriteImageData(extension.Data(), ExtensionSize);
}

/// What every create operation does once its header has, or has not, been written.
std::uint32_t ScreenshotWriter::FinishHeader(std::uint32_t status, ImageFormat format)
{
    m_fileFormat = format;
    if (status != StatusSuccess) {
        CloseFile();
    }
    return status;
}

bool ScreenshotWriter::WriteBytes(const void* bytes, std::size_t size)
{
    const bool isCut = std::ferror(m_pFile) != 0;
    if (size == 0 || WriteQuietly(m_pFile, bytes, size)) {
        return true;
    }
    if (!isCut) {
        LogReason("written", errno);
    }
    return false;
}

/// Why a file fails, beside the fixed texts, which hosts match.
void ScreenshotWriter::LogReason(const char* cannotBe, int error)
{
    UTIL_LOG(Core::Log::LevelError, "%s cannot be %s: %s", m_fileName.c_str(), cannotBe,
             std::strerror(error));
}

} // namespace Util
