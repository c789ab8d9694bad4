// PNG files: the header, the image, and what becomes of their failures and of the process's SIGABRT.

#include "Util/Logging.h"
#include "Util/OpenPNGFiles.h"
#include "Util/PNGFastImage.h"
#include "Util/ScreenshotWriter.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstring>
#include <limits>
#include <new>

namespace Util {

std::atomic<bool> ScreenshotWriter::s_pngFailed{false};

namespace {

/// A signal handler may touch atomics only while they are free of locks.
static_assert(std::atomic<bool>::is_always_lock_free);

/// The handler has seen a `SIGABRT` that is not in the log yet.
std::atomic<bool> s_abortIsUnlogged{false};

void LogPNGFailure()
{
    // Spelled as hosts match it.
    UTIL_LOG(Core::Log::LevelError, "An internal libpng failure occured.");
}

void LogPendingAbort()
{
    if (s_abortIsUnlogged.exchange(false)) {
        LogPNGFailure();
    }
}

// libpng leaves a function by longjmp when it meets a fatal error, into the frame that called setjmp. These
// frames hold no object with a destructor, and nothing that libpng calls does either.

bool WritePNGInfo(png_structp png, png_infop info, std::uint32_t width, std::uint32_t height, bool rgba,
                  PNGEncoding encoding)
{
    if (setjmp(png_jmpbuf(png))) {
        return false;
    }
    png_set_compression_mem_level(png, 9);
    png_set_IHDR(png, info, width, height, 8, rgba ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (encoding == PNGFast) {
        // What libpng itself can do for speed; it counts where ISA-L does not compress the image.
        png_set_compression_level(png, 1);
        png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_UP);
    }
    png_write_info(png, info);
    return true;
}

/// Called by libpng with its own copy of each row.
void MakeRowOpaque(png_structp /*png*/, png_row_infop row, png_bytep samples)
{
    for (std::size_t i = 3; i < row->rowbytes; i += 4) {
        samples[i] = 255;
    }
}

bool WritePNGImage(png_structp png, const PNGImage& image)
{
    if (setjmp(png_jmpbuf(png))) {
        return false;
    }
    if (image.isBGRA) {
        png_set_bgr(png);
    }
    if (image.makeOpaque) {
        png_set_write_user_transform_fn(png, &MakeRowOpaque);
    }
    png_write_image(png, const_cast<png_bytepp>(image.rows)); // reads them
    png_write_end(png, nullptr);
    return true;
}

} // namespace

std::uint32_t ScreenshotWriter::CreatePNGFile(const std::string& fileName, std::uint32_t width,
                                              std::uint32_t height, bool rgba)
{
    return CreatePNGFile(fileName, width, height, rgba, GetPNGEncoding());
}

std::uint32_t ScreenshotWriter::CreatePNGFile(const std::string& fileName, std::uint32_t width,
                                              std::uint32_t height, bool rgba, PNGEncoding encoding)
{
    return CreatePNGFile(fileName, {.width = width, .height = height, .rgba = rgba, .encoding = encoding});
}

std::uint32_t ScreenshotWriter::CreatePNGFile(const std::string& fileName, const PNGLayout& layout)
{
    std::uint32_t status = OpenFile(fileName);
    if (status == StatusSuccess) {
        m_pngTicket = OpenPNGFiles::Add();
        if (OpenPNGFiles::IsAlone(m_pngTicket)) {
            s_pngFailed = false;
            s_abortIsUnlogged = false;
        }
        status = FinishHeader(WritePNGHeader(layout), layout.rgba ? FormatPNG : FormatPNGGray);
    }
    if (status == StatusSuccess) {
        OpenPNGFiles::InstallHandler(&LibPngSignalHandler);
    } else {
        UTIL_LOG(Core::Log::LevelNote, "ScreenshotWriter::CreatePNGFile failed");
    }
    return status;
}

std::uint32_t ScreenshotWriter::WritePNGHeader(std::uint32_t width, std::uint32_t height, bool rgba)
{
    return WritePNGHeader(width, height, rgba, GetPNGEncoding());
}

std::uint32_t ScreenshotWriter::WritePNGHeader(std::uint32_t width, std::uint32_t height, bool rgba,
                                               PNGEncoding encoding)
{
    return WritePNGHeader({.width = width, .height = height, .rgba = rgba, .encoding = encoding});
}

std::uint32_t ScreenshotWriter::WritePNGHeader(const PNGLayout& layout)
{
    if (!m_pFile) {
        return StatusNotOpen;
    }
    if (m_pPng) {
        return StatusFailure;
    }

    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (info) {
        png_set_write_fn(png, this, &WriteForLibpng, [](png_structp) {});
        if (!WritePNGInfo(png, info, layout.width, layout.height, layout.rgba, layout.encoding)) {
            SetPNGFailed();
        }
    }
    NoteAbort();
    if (!info || m_hasPNGFailed || !PrepareRows(layout, png_get_rowbytes(png, info))) {
        png_destroy_write_struct(&png, &info);
        return StatusFailure;
    }
    m_pPng = png;
    m_pPngInfo = info;
    m_pngEncoding = layout.encoding;
    m_isPNGBGRA = layout.pixels ? layout.isBGRA : layout.rgba; // it is gathered so
    m_makesPNGOpaque = layout.opaque;
    return StatusSuccess;
}

std::uint32_t ScreenshotWriter::GatherPNG(const std::uint8_t* data, std::size_t size)
{
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
    NoteAbort();
    return m_hasPNGFailed ? std::uint32_t{StatusFailure} : status;
}

void ScreenshotWriter::FinalizePNG()
{
    if (m_pPng) {
        if (m_pPngImage) {
            std::memset(m_pPngImage + m_pngImageUsed, 0, m_pngImageSize - m_pngImageUsed);
        }
        if (!EncodePNG()) {
            SetPNGFailed();
        }
        png_destroy_write_struct(&m_pPng, &m_pPngInfo);
    }
    delete[] m_ppPngRows;
    m_ppPngRows = nullptr;
    m_pPngImage = nullptr; // kept for the next file

    NoteAbort();
    if (m_pngTicket != OpenPNGFiles::NoTicket) {
        OpenPNGFiles::Remove();
        m_pngTicket = OpenPNGFiles::NoTicket;
    }
    LogPendingAbort();
}

void ScreenshotWriter::ReleaseMemory()
{
    if (!m_pPngImage) {
        m_pKeptImage.reset();
        m_keptImageSize = 0;
    }
    m_pFastMemory.reset();
}

void ScreenshotWriter::LibPngSignalHandler(int signal)
{
    if (signal == SIGABRT) {
        s_pngFailed = true;
        s_abortIsUnlogged = true;
        OpenPNGFiles::HandAbortOn();
    }
}

bool ScreenshotWriter::EncodePNG()
{
    const PNGImage image{.rows = m_ppPngRows,
                         .rowBytes = png_get_rowbytes(m_pPng, m_pPngInfo),
                         .height = png_get_image_height(m_pPng, m_pPngInfo),
                         .isBGRA = m_isPNGBGRA,
                         .makeOpaque = m_makesPNGOpaque};
#ifdef FRAMEGRAB_WITH_ISAL
    if (m_pngEncoding == PNGFast) {
        if (!m_pFastMemory) {
            m_pFastMemory.reset(new (std::nothrow) PNGFastMemory);
        }
        const bool isWritten = m_pFastMemory && WritePNGFastImage(m_pFile, *m_pFastMemory, image);
        if (!isWritten) {
            LogReason("written", m_pFastMemory ? errno : ENOMEM);
        }
        return isWritten;
    }
#endif
    return WritePNGImage(m_pPng, image);
}

/// Points the rows at the image: where it lies whole, or else at memory that it can be gathered in.
bool ScreenshotWriter::PrepareRows(const PNGLayout& layout, std::size_t rowBytes)
{
    // One that libpng took has at least one row, of at least one byte.
    const bool fits = rowBytes <= std::numeric_limits<std::size_t>::max() / layout.height;
    const std::size_t size = fits ? rowBytes * layout.height : 0;
    if (!layout.pixels && m_keptImageSize < size) {
        m_pKeptImage.reset(); // first: there may not be room for both
        m_pKeptImage.reset(new (std::nothrow) std::uint8_t[size]);
        m_keptImageSize = m_pKeptImage ? size : 0;
    }
    if (fits && (layout.pixels || m_pKeptImage)) {
        m_ppPngRows = new (std::nothrow) std::uint8_t*[layout.height];
    }
    if (!m_ppPngRows) {
        LogReason("created", ENOMEM);
        return false;
    }
    if (!layout.pixels) {
        m_pPngImage = m_pKeptImage.get();
    }
    m_pngImageSize = size;
    m_pngImageUsed = 0;
    for (std::size_t i = 0; i < layout.height; ++i) {
        m_ppPngRows[i] = layout.pixels
                             ? const_cast<std::uint8_t*>(layout.pixels) + (layout.height - 1 - i) * rowBytes
                             : m_pPngImage + i * rowBytes;
    }
    return true;
}

void ScreenshotWriter::SetPNGFailed()
{
    LogPNGFailure();
    s_pngFailed = true;
    m_hasPNGFailed = true;
}

/// What has set the flag from outside this file is the application's abort, or another file. It counts as
/// this file's failure only where it cannot be another's.
void ScreenshotWriter::NoteAbort()
{
    m_hasPNGFailed = m_hasPNGFailed || (s_pngFailed && OpenPNGFiles::IsAlone(m_pngTicket));
}

void ScreenshotWriter::WriteForLibpng(png_struct_def* png, std::uint8_t* bytes, std::size_t size)
{
    if (!static_cast<ScreenshotWriter*>(png_get_io_ptr(png))->WriteBytes(bytes, size)) {
        png_error(png, "Write Error");
    }
}

} // namespace Util
