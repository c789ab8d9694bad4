#pragma once

#include "Util/Export.h"
#include "Util/PNGEncoding.h"
#include "Util/StatusCode.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <sys/types.h>

struct png_struct_def;
struct png_info_def;

namespace Util {

struct PNGFastMemory;

/// Writes one image file at a time from pixel bytes in the file's own layout: 32-bit BMP, 8-bit RGBA or grey
/// PNG, DDS with the DX10 header.
///
/// Order of calls: one create operation, any number of `WriteImageData` with pieces of any size, one
/// `CloseFile`. BMP and DDS bytes go straight to the file. PNG bytes are gathered in memory, the whole image
/// of them, and encoded by `CloseFile`.
///
/// A writer is used by one thread at a time; several may have files open at once. Nothing stays in a buffer
/// of the C library between calls, so a forked child that exits writes nothing of it again, and a full disk
/// is told by the call that meets it, which logs the file's path and the reason; no write raises a signal. A
/// file never takes one of the descriptors 0 to 2.
///
/// While PNG files are open, the process's `SIGABRT` handler is `LibPngSignalHandler`. After the last one the
/// disposition found before the first is back, handler, mask and flags, unless somebody else has installed
/// another meanwhile.
///
/// The memory for a PNG image is kept for the next one; see `ReleaseMemory`.
class UTIL_EXPORT ScreenshotWriter
{
public:
    enum ImageFormat : std::uint32_t
    {
        FormatNone = 0,
        FormatBMP = 1,     ///< 32 bits a pixel
        FormatPNG = 2,     ///< 8-bit RGBA
        FormatDDS = 3,     ///< with the DX10 header
        FormatPNGGray = 5, ///< 8-bit greyscale; 4 is a kind that hosts know and nothing here writes
    };

    /// @name Encoding of PNG files, under this class's name for it
    /// @{

    using PNGEncoding = Util::PNGEncoding;
    static constexpr PNGEncoding PNGSmall = Util::PNGSmall;
    static constexpr PNGEncoding PNGFast = Util::PNGFast;

    static void SetPNGEncoding(PNGEncoding encoding) { Util::SetPNGEncoding(encoding); }
    static PNGEncoding GetPNGEncoding() { return Util::GetPNGEncoding(); }

    /// @}

    ScreenshotWriter();
    ScreenshotWriter(const ScreenshotWriter&) = delete;
    ScreenshotWriter& operator=(const ScreenshotWriter&) = delete;

    /// Closes a file left open, except in a forked child: the file is its parent's.
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
    /// @return 0; 1 when the file cannot be opened or its header not be written. That is logged, the reason
    ///         apart from the text that says which operation failed, and leaves no file open; a header that
    ///         was cut stays on the disk.
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
    ///         `HasPNGFailed`
    std::uint32_t WriteImageData(const std::uint8_t* data, std::size_t size);

    /// Ends the open file; a PNG image is encoded now. The writer is idle afterwards, whatever the result.
    ///
    /// @return 0; 9 when no file is open; 1 when not all bytes could be written. A PNG encoding that failed
    ///         otherwise is not in the result: see `HasPNGFailed`.
    std::uint32_t CloseFile();

    /// @return whether the encoding of the open PNG file, or of the one closed last, has failed, or `SIGABRT`
    ///         came while it was the only one open
    [[nodiscard]] bool HasPNGFailed() const { return m_hasPNGFailed; }

    /// Gives back the memory that is kept from one PNG file to the next: as much as the largest image
    /// gathered so far, 8 MiB for RGBA of 1920 x 1080, and half a megabyte once a file has been `PNGFast`.
    /// The next file gets it anew: pages that the process has not used yet cost as much time as two copies of
    /// the image.
    void ReleaseMemory();

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

    /// Encodes the gathered image into the open file, frees the encoder, and puts the `SIGABRT` disposition
    /// back if no other PNG file is open.
    void FinalizePNG();

    /// The process's `SIGABRT` handler while PNG files are open; it sets `s_pngFailed`.
    ///
    /// The signal is the application's, since an error in libpng does not raise one: where the disposition
    /// found was a function, the handler puts it back and raises the signal again, for a crash reporter to
    /// see.
    ///
    /// A signal handler must not wait for a lock, and a logger has one, so the message "An internal libpng
    /// failure occured." is logged by the next operation on an open file.
    ///
    /// @param signal  anything but `SIGABRT` is ignored
    static void LibPngSignalHandler(int signal);

    /// @}

    /// A PNG file has failed, of whatever writer, or `SIGABRT` came while one was open. Cleared by a
    /// `CreatePNGFile` that finds no other open. With several writers, `HasPNGFailed` tells which.
    static std::atomic<bool> s_pngFailed;

protected:
    FILE* m_pFile = nullptr;
    ImageFormat m_fileFormat = FormatNone; ///< `FormatNone` also while a header is being written
    png_struct_def* m_pPng = nullptr;
    png_info_def* m_pPngInfo = nullptr;
    std::uint8_t* m_pPngImage = nullptr;  ///< all rows, back to back, top row first; null: they lie elsewhere
    std::uint8_t** m_ppPngRows = nullptr; ///< start of each row
    std::size_t m_pngImageSize = 0;       ///< bytes of all rows
    std::size_t m_pngImageUsed = 0;       ///< bytes delivered so far
    PNGEncoding m_pngEncoding = PNGSmall; ///< of the open PNG file

    /// What a PNG file is made of.
    struct PNGLayout
    {
        std::uint32_t width;
        std::uint32_t height;
        bool rgba;
        PNGEncoding encoding;

        /// An RGBA image that lies whole in memory, bottom row first, without padding: `CloseFile` encodes it
        /// from there. Null: the image is gathered.
        const std::uint8_t* pixels = nullptr;
        bool isBGRA = false; ///< `pixels` are B, G, R, A, not R, G, B, A
        bool opaque = false; ///< every alpha of `pixels` is written as 255
    };

    UTIL_INTERNAL std::uint32_t CreatePNGFile(const std::string& fileName, const PNGLayout& layout);

private:
    UTIL_INTERNAL std::uint32_t WritePNGHeader(const PNGLayout& layout);
    UTIL_INTERNAL bool PrepareRows(const PNGLayout& layout, std::size_t rowBytes);
    UTIL_INTERNAL std::uint32_t GatherPNG(const std::uint8_t* data, std::size_t size);
    UTIL_INTERNAL bool EncodePNG();
    UTIL_INTERNAL void SetPNGFailed();
    UTIL_INTERNAL void NoteAbort();
    UTIL_INTERNAL std::uint32_t FinishHeader(std::uint32_t status, ImageFormat format);
    UTIL_INTERNAL bool WriteBytes(const void* bytes, std::size_t size);
    UTIL_INTERNAL void LogReason(const char* cannotBe, int error);
    UTIL_INTERNAL static void WriteForLibpng(png_struct_def* png, std::uint8_t* bytes, std::size_t size);

    std::string m_fileName;
    pid_t m_owner = 0; ///< process that opened the file
    bool m_hasPNGFailed = false;
    bool m_isPNGBGRA = false;
    bool m_makesPNGOpaque = false; ///< see `PNGLayout::opaque`
    std::uint64_t m_pngTicket = 0; ///< what the open PNG file is counted as
    std::unique_ptr<std::uint8_t[]> m_pKeptImage;
    std::size_t m_keptImageSize = 0;
    std::unique_ptr<PNGFastMemory> m_pFastMemory;
};

} // namespace Util
