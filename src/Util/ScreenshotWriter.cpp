#include "Util/ScreenshotWriter.h"

#include "Util/Logging.h"
#ifdef FRAMEGRAB_WITH_ISAL
#include "Util/PngFastImage.h"
#endif

#include <png.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstring>
#include <new>

namespace Util {

std::atomic<bool> ScreenshotWriter::s_pngFailed{false};

namespace {

using FourCC = std::array<std::uint8_t, 4>;

constexpr FourCC DDSFourCC{'D', 'D', 'S', ' '};
constexpr FourCC DX10FourCC{'D', 'X', '1', '0'};

/// A signal handler may touch atomics only while they are free of locks.
static_assert(std::atomic<bool>::is_always_lock_free);

/// The handler has seen a `SIGABRT` that is not in the log yet.
std::atomic<bool> s_abortIsUnlogged{false};

void LogPngFailure()
{
    UTIL_LOG(Core::Log::LevelError, "An internal libpng failure occured.");
}

void LogPendingAbort()
{
    if (s_abortIsUnlogged.exchange(false)) {
        LogPngFailure();
    }
}

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

// libpng leaves a function by longjmp when it meets a fatal error, into the frame that called setjmp. These
// frames hold no object with a destructor, and nothing that libpng calls does either.

struct PngHeader
{
    std::uint32_t width;
    std::uint32_t height;
    bool rgba;
    PNGEncoding encoding;
};

bool WritePngInfo(png_structp png, png_infop info, FILE* file, const PngHeader& header)
{
    if (setjmp(png_jmpbuf(png))) {
        return false;
    }
    png_init_io(png, file);
    png_set_compression_mem_level(png, 9);
    png_set_bgr(png);
    png_set_IHDR(png, info, header.width, header.height, 8,
                 header.rgba ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (header.encoding == PNGFast) {
        // What libpng itself can do for speed; it counts where ISA-L does not compress the image.
        png_set_compression_level(png, 1);
        png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_UP);
    }
    png_write_info(png, info);
    return true;
}

#ifdef FRAMEGRAB_WITH_ISAL
bool WritePngImageFast(png_structp png, PngFastMemory& memory, const PngImage& image)
{
    if (setjmp(png_jmpbuf(png))) {
        return false;
    }
    WritePngFastImage(png, memory, image);
    return true;
}
#endif

bool WritePngImage(png_structp png, png_bytepp rows)
{
    if (setjmp(png_jmpbuf(png))) {
        return false;
    }
    png_write_image(png, rows);
    png_write_end(png, nullptr);
    return true;
}

} // namespace

ScreenshotWriter::~ScreenshotWriter()
{
    if (m_pFile) {
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

std::uint32_t ScreenshotWriter::CreatePNGFile(const std::string& fileName, std::uint32_t width,
                                              std::uint32_t height, bool rgba)
{
    return CreatePNGFile(fileName, width, height, rgba, GetPNGEncoding());
}

std::uint32_t ScreenshotWriter::CreatePNGFile(const std::string& fileName, std::uint32_t width,
                                              std::uint32_t height, bool rgba, PNGEncoding encoding)
{
    std::uint32_t status = OpenFile(fileName);
    if (status == StatusSuccess) {
        s_pngFailed = false;
        status =
            FinishHeader(WritePNGHeader(width, height, rgba, encoding), rgba ? FormatPNG : FormatPNGGray);
    }
    if (status == StatusSuccess) {
        InstallAbortHandler();
    } else {
        UTIL_LOG(Core::Log::LevelNote, "ScreenshotWriter::CreatePNGFile failed");
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
    if (m_fileFormat != FormatPNG && m_fileFormat != FormatPNGGray) {
        return size == 0 || std::fwrite(data, 1, size, m_pFile) == size ? StatusSuccess : StatusFailure;
    }

    LogPendingAbort();
    std::uint32_t status = StatusSuccess;
    if (!m_pPng || !m_pPngImage) {
        status = StatusNotOpen;
    } else if (size > m_pngImageSize - m_pngImageUsed) {
        status = StatusImageFull;
    } else if (size != 0) {
        std::memcpy(m_pPngImage + m_pngImageUsed, data, size);
        m_pngImageUsed += size;
    }
    return s_pngFailed ? std::uint32_t{StatusFailure} : status;
}

std::uint32_t ScreenshotWriter::CloseFile()
{
    if (!m_pFile) {
        return StatusNotOpen;
    }
    if (m_pPng || m_fileFormat == FormatPNG || m_fileFormat == FormatPNGGray) {
        FinalizePNG();
    }
    const int result = std::fclose(m_pFile);
    m_pFile = nullptr;
    m_fileFormat = FormatNone;
    return result == 0 ? StatusSuccess : StatusFailure;
}

std::uint32_t ScreenshotWriter::OpenFile(const std::string& fileName)
{
    if (m_pFile) {
        CloseFile();
    }
    m_pFile = std::fopen(fileName.c_str(), "wbe");
    return m_pFile ? StatusSuccess : StatusFailure;
}

std::uint32_t ScreenshotWriter::WriteBMPHeader(std::uint32_t width, std::uint32_t height)
{
    constexpr std::uint32_t FileHeaderSize = 14;
    constexpr std::uint32_t InfoHeaderSize = 40;
    constexpr std::uint32_t PixelOffset = FileHeaderSize + InfoHeaderSize;
    constexpr std::uint32_t PixelsPerMetre = 72;

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

std::uint32_t ScreenshotWriter::WritePNGHeader(std::uint32_t width, std::uint32_t height, bool rgba)
{
    return WritePNGHeader(width, height, rgba, GetPNGEncoding());
}

std::uint32_t ScreenshotWriter::WritePNGHeader(std::uint32_t width, std::uint32_t height, bool rgba,
                                               PNGEncoding encoding)
{
    if (!m_pFile) {
        return StatusNotOpen;
    }
    if (m_pPng) {
        return StatusFailure;
    }

    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        return StatusFailure;
    }
    if (!WritePngInfo(png, info, m_pFile, {width, height, rgba, encoding})) {
        LogPngFailure();
        s_pngFailed = true;
    }

    // A refused header has no rows; one that libpng took has at least one, of at least one byte.
    const std::size_t rowBytes = s_pngFailed ? 0 : png_get_rowbytes(png, info);
    auto* const image = s_pngFailed ? nullptr : new (std::nothrow) std::uint8_t[rowBytes * height];
    auto** const rows = image ? new (std::nothrow) std::uint8_t*[height] : nullptr;
    if (!rows) {
        delete[] image;
        png_destroy_write_struct(&png, &info);
        return StatusFailure;
    }
    for (std::size_t i = 0; i < height; ++i) {
        rows[i] = image + i * rowBytes;
    }

    m_pPng = png;
    m_pPngInfo = info;
    m_pPngImage = image;
    m_ppPngRows = rows;
    m_pngImageSize = rowBytes * height;
    m_pngImageUsed = 0;
    m_pngEncoding = encoding;
    return StatusSuccess;
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
    header.Put32(depth);
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

void ScreenshotWriter::FinalizePNG()
{
    if (m_pPng) {
        if (m_pPngImage && m_ppPngRows) {
            std::memset(m_pPngImage + m_pngImageUsed, 0, m_pngImageSize - m_pngImageUsed);
            if (!EncodePNG()) {
                LogPngFailure();
                s_pngFailed = true;
            }
        }
        png_destroy_write_struct(&m_pPng, &m_pPngInfo);
    }
    delete[] m_ppPngRows;
    m_ppPngRows = nullptr;
    delete[] m_pPngImage;
    m_pPngImage = nullptr;

    RestoreAbortHandler();
    LogPendingAbort();
}

void ScreenshotWriter::LibPngSignalHandler(int signal)
{
    if (signal == SIGABRT) {
        s_pngFailed = true;
        s_abortIsUnlogged = true;
    }
}

bool ScreenshotWriter::EncodePNG()
{
#ifdef FRAMEGRAB_WITH_ISAL
    if (m_pngEncoding == PNGFast) {
        const std::size_t height = png_get_image_height(m_pPng, m_pPngInfo);
        const PngFastMemoryPtr memory = AllocatePngFastMemory();
        return memory && WritePngImageFast(m_pPng, *memory,
                                           {.pixels = m_pPngImage,
                                            .rowBytes = m_pngImageSize / height,
                                            .height = height,
                                            .pixelBytes = png_get_channels(m_pPng, m_pPngInfo)});
    }
#endif
    return WritePngImage(m_pPng, m_ppPngRows);
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

void ScreenshotWriter::InstallAbortHandler()
{
    struct sigaction action = {};
    action.sa_handler = &LibPngSignalHandler;
    action.sa_flags = SA_RESTART | SA_ONSTACK;
    sigemptyset(&action.sa_mask);

    struct sigaction previous = {};
    if (sigaction(SIGABRT, &action, &previous) == 0) {
        m_prevAbortAction = previous;
    }
}

void ScreenshotWriter::RestoreAbortHandler()
{
    if (!m_prevAbortAction) {
        return;
    }
    struct sigaction current = {};
    const bool isOurs = sigaction(SIGABRT, nullptr, &current) == 0 && (current.sa_flags & SA_SIGINFO) == 0 &&
                        current.sa_handler == &LibPngSignalHandler;
    if (isOurs) {
        sigaction(SIGABRT, &*m_prevAbortAction, nullptr);
    }
    m_prevAbortAction.reset();
}

} // namespace Util
