#pragma once

#include "Util/CapturedImage.h"
#include "Util/CapturedValues.h"
#include "capture/Connection.h"

#include <cstddef>
#include <cstdint>

namespace Framegrab {

/// Takes one picture, or its values, into the memory that framegrab shares, into which GL reads it where the
/// layout allows.
class PictureSink final : public Util::ImageSink, public Util::ValueSink
{
public:
    /// @param picture  what is known of it before it is read
    PictureSink(Connection& connection, const Picture& picture);
    PictureSink(const PictureSink&) = delete;
    PictureSink& operator=(const PictureSink&) = delete;
    ~PictureSink() override;

    std::uint8_t* Lend(std::size_t bytes) override;
    std::uint32_t Take(const Util::CapturedImage& image) override;
    std::uint32_t Take(const Util::CapturedValues& values) override;

    /// @return bytes of a picture that is larger than all of the memory; 0 without one
    [[nodiscard]] std::size_t RefusedSize() const { return m_refusedSize; }

    [[nodiscard]] bool HasTaken() const { return m_hasTaken; }

private:
    bool Reserve(std::size_t size);
    bool Receive(const std::uint8_t* bytes, std::size_t size);
    void Commit(EntryKind kind, std::uint32_t width, std::uint32_t height);

    Connection& m_connection;
    Picture m_picture;
    std::int64_t m_start; ///< of the reading, on the clock that never jumps
    Entry* m_entry = nullptr;
    std::size_t m_refusedSize = 0;
    bool m_hasTaken = false;
};

} // namespace Framegrab
