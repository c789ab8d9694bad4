#pragma once

#include "Util/Export.h"

#include <cstddef>
#include <cstdint>

namespace Util {

/// Compresses and decompresses whole blocks of bytes in memory.
///
/// A call handles one complete block and nothing carries over to the next. The compressed form is the codec's
/// own with nothing around it, so whoever stores a block stores its compressed size and its raw size beside
/// it.
///
/// A compressor owns one output buffer, which `Encode` and one form of `Decode` hand out pointers into. The
/// bytes are valid until the next of those calls; the pointer until an `Encode` that grows the buffer or the
/// end of the compressor. Only `Encode` grows it; once it has reached the size of the largest block, no call
/// allocates anything of its own.
///
/// Failures are logged at level 1 in zone "util", and return false; nothing is thrown. Unless said otherwise,
/// a call that returns false leaves the out-parameters as they were. The compressor can always go on with the
/// next block.
///
/// @note One thread at a time for one compressor; compressors are independent of each other.
class UTIL_EXPORT Compressor
{
public:
    /// How much time to spend for how small a block. Other values are taken as `QualityMedium`.
    enum CompressorQuality : std::uint32_t
    {
        QualityNone = 0,
        QualityLow = 1,
        QualityMedium = 2,
        QualityHigh = 3,
    };

    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;
    virtual ~Compressor();

    /// Compresses one block into the internal buffer, which grows to the codec's worst case for `srcSize`
    /// first (logged at level 3).
    ///
    /// @param src      the raw block; not in the internal buffer
    /// @param srcSize  its size in bytes; each compressor says which sizes it takes
    /// @param dst      out: the start of the internal buffer
    /// @param dstSize  out: size of the compressed block in bytes
    /// @return true with both stored; false for a null pointer, a size not taken, a source in the internal
    ///         buffer, or no memory
    virtual bool Encode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t** dst,
                        std::uint32_t* dstSize);

    /// Decompresses one block into the internal buffer, by the caller-buffer form below, and stays inside it.
    /// It does not grow: its capacity is that given at construction or the worst case of the largest block
    /// encoded.
    ///
    /// @param dst      out: the start of the internal buffer, or null whenever the result is false
    /// @param dstSize  as in the caller-buffer form
    /// @return as the caller-buffer form; false also for a null `dst` and for a block that does not fit
    virtual bool Decode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t** dst,
                        std::uint32_t* dstSize);

    /// Decompresses one block that is known to be good into the caller's buffer, which must have room for it:
    /// **the capacity is not told and cannot be checked**. For data from a file use the form that takes a
    /// capacity.
    ///
    /// @param src      the compressed block; not the start of the internal buffer
    /// @param srcSize  its size in bytes, at least 1
    /// @param dst      room for the raw block, written from its start; in the internal buffer, the end of
    ///                 that bounds what is written
    /// @param dstSize  each compressor says whether it reads or writes it
    /// @return false for a null pointer, an empty source, a source at the start of the internal buffer, or no
    ///         memory; what a damaged block gives is up to the compressor
    virtual bool Decode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                        std::uint32_t* dstSize);

    /// @return the quality given at construction, or what the compressor has put in its place
    [[nodiscard]] virtual CompressorQuality GetQuality() const;

    /// Decompresses one block from a source that is not trusted, such as a file. Never reads outside
    /// `src[0, srcSize)`, never writes outside `dst[0, capacity)`, and tells whether the block was good.
    ///
    /// @param src          the compressed block; not the start of the internal buffer
    /// @param srcSize      its size in bytes, at least 1
    /// @param dst          destination, non-null; on failure its contents are undefined
    /// @param capacity     room at `dst` in bytes; 0 is enough for an empty block
    /// @param decodedSize  out: size of the raw block in bytes
    /// @return true for a block that is complete and intact, as far as the codec can tell, and fits; each
    ///         compressor says what its codec checks
    virtual bool Decode(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                        std::uint32_t capacity, std::uint32_t* decodedSize);

protected:
    /// Allocates the internal buffer; when there is no memory for it, its capacity is 0.
    Compressor(CompressorQuality quality, std::uint32_t bufferSize);

    // Each logs why a call fails. @return false
    static bool RefuseArguments();
    static bool RefuseDamage(std::uint32_t srcSize);
    static bool RefuseCapacity(std::size_t capacity);
    static bool Fail(const char* operation, const char* reason);

    /// Grows the internal buffer to exactly `size` bytes if it is smaller. The old array lives until the new
    /// one is there.
    ///
    /// @param used  how many bytes to keep from its start
    /// @return false, logged, when `size` does not fit 32 bits or there is no memory
    bool Reserve(std::uint64_t size, std::uint32_t used);

    CompressorQuality m_quality;
    std::uint8_t* m_buffer; ///< null only when the constructor found no memory for it
    std::uint32_t m_bufferSize;

private:
    // What a codec does itself. The calls above have checked the arguments; out-parameters are set only where
    // the result is true.

    /// Compresses a block into the internal buffer, which it grows first.
    virtual bool EncodeBlock(const std::uint8_t* src, std::uint32_t srcSize, std::uint32_t* dstSize) = 0;

    /// Decompresses for the form that is not told a capacity.
    ///
    /// @param room  bytes from `dst` to the end of the internal buffer; `SIZE_MAX` outside of it
    virtual bool DecodeTrusted(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                               std::size_t room, std::uint32_t* dstSize) = 0;

    /// Decompresses for the bounded form.
    virtual bool DecodeBounded(const std::uint8_t* src, std::uint32_t srcSize, std::uint8_t* dst,
                               std::uint32_t capacity, std::uint32_t* decodedSize) = 0;

    [[nodiscard]] UTIL_INTERNAL bool AcceptsBlock(const std::uint8_t* src, std::uint32_t srcSize,
                                                  const std::uint8_t* dst,
                                                  const std::uint32_t* dstSize) const;
    [[nodiscard]] UTIL_INTERNAL bool AcceptsSource(const std::uint8_t* src, const std::uint8_t* dst) const;
    [[nodiscard]] UTIL_INTERNAL bool IsInBuffer(const std::uint8_t* pointer) const;
    [[nodiscard]] UTIL_INTERNAL std::size_t RoomAt(const std::uint8_t* dst) const;
};

} // namespace Util
