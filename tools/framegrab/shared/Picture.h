#pragma once

#include <GLES3/gl3.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

/// What framegrab knows of a picture, from the capture in the program to the page that shows it.
namespace Framegrab {

/// A buffer of a framebuffer.
enum class Buffer : std::uint8_t
{
    Color,
    Depth,
    Stencil
};

/// A component of a pixel: its letter in the name of a format, and what asks for the bits that it has.
struct Component
{
    char letter;
    GLenum surfaceBits;    ///< in the window surface
    GLenum attachmentBits; ///< in an attachment of a framebuffer object
};

inline constexpr std::array<Component, 4> ColorComponents{{
    {'R', GL_RED_BITS, GL_FRAMEBUFFER_ATTACHMENT_RED_SIZE},
    {'G', GL_GREEN_BITS, GL_FRAMEBUFFER_ATTACHMENT_GREEN_SIZE},
    {'B', GL_BLUE_BITS, GL_FRAMEBUFFER_ATTACHMENT_BLUE_SIZE},
    {'A', GL_ALPHA_BITS, GL_FRAMEBUFFER_ATTACHMENT_ALPHA_SIZE},
}};
inline constexpr std::array<Component, 1> DepthComponents{
    {{'D', GL_DEPTH_BITS, GL_FRAMEBUFFER_ATTACHMENT_DEPTH_SIZE}}};
inline constexpr std::array<Component, 1> StencilComponents{
    {{'S', GL_STENCIL_BITS, GL_FRAMEBUFFER_ATTACHMENT_STENCIL_SIZE}}};

struct BufferKind
{
    Buffer buffer;
    const char* name; ///< on the command line, in messages and in names of files
    GLbitfield mask;
    GLenum surfacePoint; ///< by which GL tells of the window surface's
    GLenum attachment;   ///< of a framebuffer object; the first of the colours
    std::span<const Component> components;
};

/// In the order of `Buffer`.
inline constexpr std::array<BufferKind, 3> Buffers{{
    {Buffer::Color, "color", GL_COLOR_BUFFER_BIT, GL_BACK, GL_COLOR_ATTACHMENT0, ColorComponents},
    {Buffer::Depth, "depth", GL_DEPTH_BUFFER_BIT, GL_DEPTH, GL_DEPTH_ATTACHMENT, DepthComponents},
    {Buffer::Stencil, "stencil", GL_STENCIL_BUFFER_BIT, GL_STENCIL, GL_STENCIL_ATTACHMENT, StencilComponents},
}};

constexpr const BufferKind& KindOf(Buffer buffer)
{
    return Buffers[static_cast<std::size_t>(buffer)];
}

constexpr bool IsSound(Buffer buffer)
{
    return static_cast<std::size_t>(buffer) < Buffers.size();
}

/// A text that can be copied as bytes, from one process to another.
template <std::size_t Size>
class FixedText
{
public:
    FixedText() = default;

    /// Cuts what does not fit.
    explicit FixedText(std::string_view text)
    {
        std::copy_n(text.data(), std::min(text.size(), Size), m_bytes.begin());
    }

    [[nodiscard]] std::string ToString() const { return {m_bytes.data(), strnlen(m_bytes.data(), Size)}; }

private:
    std::array<char, Size> m_bytes{}; ///< ends with a zero byte unless it is full
};

/// One picture: a buffer of a window surface, or an attachment of a framebuffer object, at one moment.
struct Picture
{
    std::uint64_t frame = 0;   ///< the first swap of a surface shows frame 1
    std::uint32_t process = 1; ///< among those that capture, from 1
    std::uint32_t surface = 1; ///< of the process, from 1
    std::uint32_t target = 0;  ///< framebuffer object of the frame, from 1; 0 for the window surface itself
    Buffer buffer = Buffer::Color;
    std::uint8_t attachment = 0; ///< number of the colour attachment of a target
    bool isThumbnail = false;
    std::uint32_t status = 0; ///< of the operation of the library that took it; 0: it is whole

    // 0, or empty, where they are not known.
    std::uint32_t width = 0; ///< in pixels
    std::uint32_t height = 0;
    std::uint32_t internalFormat = 0; ///< of the buffer, as of GL
    std::uint32_t samples = 0;        ///< of the buffer, resolved in the picture; 0 when not multisampled
    FixedText<48> format;             ///< of the buffer, e.g. "R8G8B8A8", "D24" or "R16G16B16A16 float"
    std::int64_t readAt = 0;          ///< nanoseconds since 1970, when the reading began
    std::int64_t readTime = 0;        ///< nanoseconds that it took
};
static_assert(std::is_trivially_copyable_v<Picture>);

/// @return what the names of all pictures of a frame begin with: "frame000060", "frame000060-p2" in the
///         second process, "frame000060-w2" of the second surface
std::string FrameName(const Picture& picture);

/// @return which of its frame's pictures this is: "color", "depth", "target001_color0"; a thumbnail is the
///         same one
std::string ImageName(const Picture& picture);

/// @return the attachment or buffer as a message names it: "color", "color0" of a target
std::string BufferName(const Picture& picture);

/// @return what the names of all pictures of a framebuffer begin with: "frame000060", or
///         "frame000060_target001"
std::string FramebufferName(const Picture& picture);

/// @return the name of the picture's file without its extension, e.g. "frame000060_depth_thumbnail"
std::string FileStem(const Picture& picture);

} // namespace Framegrab
