#pragma once

#include "Util/Export.h"
#include "Util/PNGEncoding.h"
#include "Util/StatusCode.h"

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

struct png_struct_def;
struct png_info_def;

namespace Util {

/// Writes one image file at a time from pixel bytes in the file's own layout: 32-bit BMP, 8-bit RGBA or grey
/// PNG, DDS with the DX10 header.
///
/// Order of calls: one create operation, any number of `WriteImageData` with pieces of any size, one
/// `CloseFile`. BMP and DDS bytes go straight to the file. PNG bytes are gathered in memory, the whole image
/// of them, and encoded by `CloseFile`.
///
/// A writer is used by one thread at a time, and one PNG file is open in the process at a time: while one is,
/// the process's `SIGABRT` handler is `LibPngSignalHandler` and `s_pngFailed` belongs to that file.
class UTIL_EXPORT ScreenshotWriter
{
public:
    enum ImageFormat : std::uint32_t
    {
        FormatNone = 0,
        FormatBMP = 1,     ///< 32 bits a pixel
        FormatPNG = 2,     ///< 8-bit RGBA
        FormatDDS = 3,     ///< with the DX10 header
        FormatPNGGray = 5, ///< 8-bit greyscale; 4 is reserved
    };

    /// @name Encoding of PNG files, under this class's name for it
    /// @{

    using PNGEncoding = Util::PNGEncoding;
    static constexpr PNGEncoding PNGSmall = Util::PNGSmall;
    static constexpr PNGEncoding PNGFast = Util::PNGFast;

    static void SetPNGEncoding(PNGEncoding encoding) { Util::SetPNGEncoding(encoding); }
    static PNGEncoding GetPNGEncoding() { return Util::GetPNGEncoding(); }

    /// @}

    ScreenshotWriter() = default;
    ScreenshotWriter(const ScreenshotWriter&) = delete;
    ScreenshotWriter& operator=(const ScreenshotWriter&) = delete;

    /// Closes a file left open.
    virtual ~ScreenshotWriter();

    /// @return whether files of this kind can be written; a value above 5 is logged
    bool SupportsFormat(ImageFormat format);

    /// Begins a BMP file: BITMAPFILEHEADER and a BITMAPINFOHEADER of 40 bytes, 32 bits a pixel, `BI_RGB`.
    ///
    /// Deliver width x height pixels of 4 bytes, B, G, R, A, bottom row first, without padding.
    ///
    /// @param fileName  path of the file, extension included; an existing file is emptied. As for the other
    ///                  create operations, a file that this writer still has open is closed first.
    /// @param width     in pixels
    /// @param height    in pixels; 0 gives the header alone
    /// @return 0; 1 when the file cannot be opened or its header not be written, which is logged and leaves
    ///         no file open
    std::uint32_t CreateBMPFile(const std::string& fileName, std::uint32_t width, std::uint32_t height);

    /// Begins a PNG file (ISO/IEC 15948) of bit depth 8, not interlaced.
    ///
    /// Deliver, top row first and without padding, B, G, R, A for each pixel, or one grey byte. Rows that are
    /// never delivered come out as zeros.
    ///
    /// @param width   in pixels, at least 1; libpng's own limit is a million
    /// @param height  as `width`
    /// @param rgba    true: colour type 6, RGBA; false: colour type 0, grey
    /// @return 0; 1 when the file cannot be opened, libpng refuses the size or fails, or there is no memory
    ///         for the image, which is logged and leaves no file open
    std::uint32_t CreatePNGFile(const std::string& fileName, std::uint32_t width, std::uint32_t height,
                                bool rgba);

    /// As the other, whatever the encoding in force is.
    std::uint32_t CreatePNGFile(const std::string& fileName, std::uint32_t width, std::uint32_t height,
                                bool rgba, PNGEncoding encoding);

    /// Begins a DDS file: magic, 124-byte DDS_HEADER, 20-byte DDS_HEADER_DXT10. Deliver the surface's bytes.
    ///
    /// @param depth              in texels, for volume textures
    /// @param pitch              bytes a row
    /// @param dxgiFormat         a `DXGI_FORMAT` value
    /// @param resourceDimension  a `D3D10_RESOURCE_DIMENSION` value
    /// @param arraySize          number of textures
    /// @return as `CreateBMPFile`
    std::uint32_t CreateDDSFile(const std::string& fileName, std::uint32_t width, std::uint32_t height,
                                std::uint32_t depth, std::uint32_t pitch, std::uint32_t dxgiFormat,
                                std::uint32_t resourceDimension, std::uint32_t arraySize);

    /// Appends bytes to the image of the open file.
    ///
    /// @return 0; 9 when no file is open; 6 when a PNG image has no room for them all, and then none is
    ///         taken; 1 when they could not be written, when `data` is null and `size` is not 0, or when
    ///         `s_pngFailed` is set
    std::uint32_t WriteImageData(const std::uint8_t* data, std::size_t size);

    /// Ends the open file; a PNG image is encoded now. The writer is idle afterwards, whatever the result.
    ///
    /// @return 0; 9 when no file is open; 1 when the last bytes could not be written. A PNG encoding that
    ///         failed is not in the result but in `s_pngFailed`.
    std::uint32_t CloseFile();

    /// @name Steps of the operations above
    /// @{

    /// Opens a file for writing; one that is still open is closed first.
    /// @return 0, or 1
    std::uint32_t OpenFile(const std::string& fileName);

    /// @return 0, or the status of the first write that failed
    std::uint32_t WriteBMPHeader(std::uint32_t width, std::uint32_t height);

    /// Writes signature and IHDR and sets up the encoder and the image buffer.
    /// @return 0; 1 when libpng fails or memory is short, with nothing kept; 9 when no file is open
    std::uint32_t WritePNGHeader(std::uint32_t width, std::uint32_t height, bool rgba);
    std::uint32_t WritePNGHeader(std::uint32_t width, std::uint32_t height, bool rgba, PNGEncoding encoding);

    /// @return 0, or the status of the first write that failed
    std::uint32_t WriteDDSHeader(std::uint32_t width, std::uint32_t height, std::uint32_t depth,
                                 std::uint32_t pitch, std::uint32_t dxgiFormat,
                                 std::uint32_t resourceDimension, std::uint32_t arraySize);

    /// Encodes the gathered image into the open file, frees the encoder and the image, and puts the saved
    /// `SIGABRT` disposition back, handler, mask and flags, unless somebody else has installed another
    /// meanwhile.
    void FinalizePNG();

    /// The process's `SIGABRT` handler while a PNG file is open; it sets `s_pngFailed`.
    ///
    /// A signal handler must not wait for a lock, and a logger has one, so the message "An internal libpng
    /// failure occured." is logged by the next operation on the open file.
    ///
    /// @param signal  anything but `SIGABRT` is ignored
    static void LibPngSignalHandler(int signal);

    /// @}

    /// Encoding of the open PNG file, or of the one closed last, has failed. Cleared by every
    /// `CreatePNGFile`.
    static std::atomic<bool> s_pngFailed;

protected:
    FILE* m_pFile = nullptr;
    ImageFormat m_fileFormat = FormatNone; ///< `FormatNone` also while a header is being written
    std::optional<struct sigaction>
        m_prevAbortAction; ///< found by `CreatePNGFile`, put back by `FinalizePNG`
    png_struct_def* m_pPng = nullptr;
    png_info_def* m_pPngInfo = nullptr;
    std::uint8_t* m_pPngImage = nullptr;  ///< all rows, back to back, top row first
    std::uint8_t** m_ppPngRows = nullptr; ///< start of each row in `m_pPngImage`
    std::size_t m_pngImageSize = 0;       ///< bytes that `m_pPngImage` holds
    std::size_t m_pngImageUsed = 0;       ///< bytes delivered so far
    PNGEncoding m_pngEncoding = PNGSmall; ///< of the open PNG file

private:
    bool EncodePNG();
    std::uint32_t FinishHeader(std::uint32_t status, ImageFormat format);
    void InstallAbortHandler();
    void RestoreAbortHandler();
};

} // namespace Util
