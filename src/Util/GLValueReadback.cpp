#include "Util/GLValueReadback.h"

#include "Util/BufferWalk.h"
#include "Util/GLAttachment.h"
#include "Util/GLCopy.h"
#include "Util/GLDepthStencil.h"
#include "Util/GLDepthValues.h"
#include "Util/GLState.h"
#include "Util/Logging.h"
#include "Util/PixelBuffer.h"
#include "Util/PixelRead.h"
#include "Util/StatusCode.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <new>

namespace Util {

namespace {

using Values = CapturedValues;
using Bits = std::array<std::uint32_t, 4>;

/// How one colour buffer is read, and what becomes of what is read.
struct ColorReading
{
    Values::ValueType type;
    GLenum readFormat;
    GLenum readType;
    std::size_t pitch; ///< bytes a pixel, as read

    /// Turns one component, as read, into the value; null where that is what was read.
    void (*convert)(const std::uint8_t* component, std::uint32_t bits, std::uint8_t* value);
};

template <typename Number>
Number Load(const std::uint8_t* bytes)
{
    Number number{};
    std::memcpy(&number, bytes, sizeof(number));
    return number;
}

template <typename Number>
void Store(Number number, std::uint8_t* bytes)
{
    std::memcpy(bytes, &number, sizeof(number));
}

/// Turns a float that comes from a half back into that. Infinities stay, NaN keeps its upper digits.
void ToHalf(const std::uint8_t* component, std::uint32_t /*bits*/, std::uint8_t* value)
{
    constexpr float LeastNormal = 0x1p-14F;
    constexpr float LeastSubnormal = 0x1p-24F;
    const auto number = Load<float>(component);
    const auto digits = std::bit_cast<std::uint32_t>(number);
    std::uint32_t half = digits >> 16 & 0x8000U;
    if (!std::isfinite(number)) {
        half |= 0x7C00U | (digits >> 13 & 0x3FFU);
    } else if (std::abs(number) < LeastNormal) {
        half |= static_cast<std::uint32_t>(std::abs(number) / LeastSubnormal);
    } else {
        half |= ((digits & 0x7FFFFFFFU) >> 13) - ((127U - 15U) << 10);
    }
    Store(static_cast<std::uint16_t>(half), value);
}

/// Turns a byte back into the n of fewer bits that GL has made it of, and that into a fraction.
void ToFraction(const std::uint8_t* component, std::uint32_t bits, std::uint8_t* value)
{
    const std::uint32_t most = bits == 0 ? 255 : (1U << bits) - 1;
    const std::uint32_t n = (*component * most + 127) / 255;
    Store(static_cast<float>(n) / static_cast<float>(most), value);
}

/// Turns a fraction that a driver has made of a signed n of so many bits into the one nearest to it.
void ToSignedFraction(const std::uint8_t* component, std::uint32_t bits, std::uint8_t* value)
{
    const auto number = Load<float>(component);
    const auto most = bits == 0 ? 1.0F : static_cast<float>((1U << (bits - 1)) - 1);
    Store(std::round(number * most) / most, value);
}

/// The framebuffer must be bound for reading, the buffer selected.
ColorReading ChooseReading(GLenum componentType, const Bits& bits)
{
    const auto areAll = [&bits](std::uint32_t size) {
        return std::ranges::all_of(bits, [=](std::uint32_t value) { return value == 0 || value == size; });
    };
    switch (componentType) {
    case GL_FLOAT:
        if (!areAll(16)) {
            return {Values::Float32, GL_RGBA, GL_FLOAT, 16, nullptr};
        }
        // Floats can always be read. Halves can where the driver prefers them.
        if (GetInteger(GL_IMPLEMENTATION_COLOR_READ_FORMAT) == GL_RGBA &&
            GetInteger(GL_IMPLEMENTATION_COLOR_READ_TYPE) == GL_HALF_FLOAT) {
            return {Values::Float16, GL_RGBA, GL_HALF_FLOAT, 8, nullptr};
        }
        return {Values::Float16, GL_RGBA, GL_FLOAT, 16, &ToHalf};
    case GL_UNSIGNED_INT:
        return {Values::UInt32, GL_RGBA_INTEGER, GL_UNSIGNED_INT, 16, nullptr};
    case GL_INT:
        return {Values::Int32, GL_RGBA_INTEGER, GL_INT, 16, nullptr};
    case GL_SIGNED_NORMALIZED:
        return {Values::Float32, GL_RGBA, GL_FLOAT, 16, &ToSignedFraction};
    default:
        break;
    }
    if (areAll(16)) { // `GL_EXT_texture_norm16`
        return {Values::Unorm16, GL_RGBA, GL_UNSIGNED_SHORT, 8, nullptr};
    }
    if (bits[0] == 10) {
        return {Values::Unorm10A2, GL_RGBA, GL_UNSIGNED_INT_2_10_10_10_REV, 4, nullptr};
    }
    return areAll(8) ? ColorReading{Values::Unorm8, GL_RGBA, GL_UNSIGNED_BYTE, 4, nullptr}
                     : ColorReading{Values::Float32, GL_RGBA, GL_UNSIGNED_BYTE, 4, &ToFraction};
}

GLint GetOfPoint(GLenum point, GLenum name)
{
    GLint value = 0;
    GL::GetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, point, name, &value);
    return value;
}

/// A buffer that is to be read, of the window surface or a framebuffer object.
struct Buffer
{
    GLenum point; ///< as the queries of attachments take it; of a colour, the read buffer too
    Attachment image;
    GLenum componentType;
    Bits bits;
    bool isSrgb;
    GLint samples; ///< 0: not multisampled
};

Buffer DescribeBuffer(GLenum point, const Attachment& image)
{
    const auto bits = [point](GLenum name) { return static_cast<std::uint32_t>(GetOfPoint(point, name)); };
    Buffer buffer{.point = point,
                  .image = image,
                  .componentType =
                      static_cast<GLenum>(GetOfPoint(point, GL_FRAMEBUFFER_ATTACHMENT_COMPONENT_TYPE)),
                  .bits = {},
                  .isSrgb = GetOfPoint(point, GL_FRAMEBUFFER_ATTACHMENT_COLOR_ENCODING) == GL_SRGB,
                  .samples = GetInteger(GL_SAMPLE_BUFFERS) > 0 ? GetInteger(GL_SAMPLES) : 0};
    if (point == GL_DEPTH || point == GL_DEPTH_ATTACHMENT) {
        buffer.bits[0] = bits(GL_FRAMEBUFFER_ATTACHMENT_DEPTH_SIZE);
    } else if (point == GL_STENCIL || point == GL_STENCIL_ATTACHMENT) {
        buffer.bits[0] = bits(GL_FRAMEBUFFER_ATTACHMENT_STENCIL_SIZE);
    } else {
        buffer.bits = {bits(GL_FRAMEBUFFER_ATTACHMENT_RED_SIZE), bits(GL_FRAMEBUFFER_ATTACHMENT_GREEN_SIZE),
                       bits(GL_FRAMEBUFFER_ATTACHMENT_BLUE_SIZE), bits(GL_FRAMEBUFFER_ATTACHMENT_ALPHA_SIZE)};
    }
    return buffer;
}

/// What is known of the values before they are read.
CapturedValues Announce(const Buffer& buffer, const std::string& fileName, Values::Content content,
                        Values::ValueType type)
{
    CapturedValues values;
    values.fileName = fileName;
    values.width = static_cast<std::uint32_t>(buffer.image.width);
    values.height = static_cast<std::uint32_t>(buffer.image.height);
    values.content = content;
    values.type = type;
    values.isSrgb = buffer.isSrgb;
    values.bits = buffer.bits;
    values.samples = static_cast<std::uint32_t>(buffer.samples);
    values.internalFormat = static_cast<std::uint32_t>(buffer.image.internalFormat);
    values.isExact = buffer.samples == 0;
    return values;
}

/// @return the status of what cannot be read
std::uint32_t Refuse(const std::string& fileName, const char* reason)
{
    UTIL_LOG(Core::Log::LevelWarning, "The values of %s are not to be had: %s", fileName.c_str(), reason);
    return StatusFailure;
}

bool ReadAndConvert(const ColorReading& reading, const Buffer& buffer, const SinkMemory& memory)
{
    const Size size{buffer.image.width, buffer.image.height};
    if (!reading.convert) {
        return ReadPixels(size, reading.readFormat, reading.readType, memory.Bytes(), reading.pitch,
                          memory.IsZero()) == GL_NO_ERROR;
    }
    const auto columns = static_cast<std::uint32_t>(size.width);
    const auto rows = static_cast<std::uint32_t>(size.height);
    const PixelBuffer raw = AllocatePixels(columns, rows, reading.pitch);
    const std::size_t components = std::size_t{columns} * rows * 4;
    const std::size_t rawBytes = reading.pitch / 4;
    const std::size_t valueBytes = memory.Bytes().size() / components;
    if (!raw || ReadPixels(size, reading.readFormat, reading.readType, {raw.get(), components * rawBytes},
                           reading.pitch, true) != GL_NO_ERROR) {
        return false;
    }
    for (std::size_t i = 0; i < components; ++i) {
        reading.convert(raw.get() + i * rawBytes, buffer.bits.at(i % 4),
                        memory.Bytes().data() + i * valueBytes);
    }
    return true;
}

/// Reads a colour buffer of the framebuffer bound for reading.
std::uint32_t ReadColor(ValueSink& sink, const std::string& fileName, const Buffer& buffer, GLenum readBuffer)
{
    const PackedRead packed;
    const SelectedReadBuffer selected(readBuffer);
    const ColorReading reading = ChooseReading(buffer.componentType, buffer.bits);
    CapturedValues values = Announce(buffer, fileName, Values::Color, reading.type);
    const SinkMemory memory(sink, values.width, values.height, values.GetPixelSize());
    if (memory.Bytes().empty()) {
        return StatusFailure;
    }
    if (!ReadAndConvert(reading, buffer, memory)) {
        return Refuse(fileName, "the driver refused to read them");
    }
    values.values = memory.Bytes().data();
    return sink.Take(values);
}

/// Reads a copy of a colour buffer.
///
/// @param layouts  of the copies, each made of the one before
template <std::size_t Count>
std::uint32_t ReadCopiedColor(ValueSink& sink, const std::string& fileName, const Buffer& buffer,
                              const std::array<ImageLayout, Count>& layouts)
{
    if (!CanCopyColor()) {
        return StatusFailure;
    }
    std::array<ColorTarget, Count> copies;
    const SavedBindings saved;
    const Size size{buffer.image.width, buffer.image.height};
    GLuint source = saved.DrawFramebuffer();
    GLenum readBuffer = buffer.point;
    for (std::size_t i = 0; i < Count; ++i) {
        if (copies[i].CopyFrom(source, readBuffer, size, layouts[i], size, GL_NEAREST) != GL_NO_ERROR) {
            return Refuse(fileName, "the driver refused to copy them");
        }
        source = copies[i].Framebuffer();
        readBuffer = GL_COLOR_ATTACHMENT0;
    }
    GL::BindFramebuffer(GL_READ_FRAMEBUFFER, source);
    return ReadColor(sink, fileName, buffer, GL_COLOR_ATTACHMENT0);
}

std::uint32_t ReadDepth(ValueSink& sink, const std::string& fileName, const Buffer& buffer)
{
    CapturedValues values = Announce(buffer, fileName, Values::Depth, Values::Float32);
    const SinkMemory memory(sink, values.width, values.height, values.GetPixelSize());
    if (memory.Bytes().empty()) {
        return StatusFailure;
    }
    const DepthBuffer depth{.size = {buffer.image.width, buffer.image.height},
                            .bits = buffer.bits[0],
                            .stencilBits = static_cast<GLuint>(buffer.image.stencilSize),
                            .isFloat = buffer.componentType == GL_FLOAT,
                            .isMultisampled = buffer.samples > 0,
                            .copy = CopyLayoutOf(Component::Depth, buffer.image)};
    const DepthResult result = ReadDepthValues(depth, memory.Bytes().data());
    if (result.refusal) {
        return Refuse(fileName, result.refusal);
    }
    values.isExact = result.isExact;
    values.values = memory.Bytes().data();
    return sink.Take(values);
}

std::uint32_t ReadStencil(ValueSink& sink, const std::string& fileName, const Buffer& buffer)
{
    CapturedValues values = Announce(buffer, fileName, Values::Stencil, Values::UInt8);
    const SinkMemory memory(sink, values.width, values.height, values.GetPixelSize());
    constexpr std::size_t GreyPitch = 4;
    const PixelBuffer grey = AllocatePixels(values.width, values.height, GreyPitch);
    if (memory.Bytes().empty() || !grey) {
        return StatusFailure;
    }
    const Size size{buffer.image.width, buffer.image.height};
    if (const char* const reason = ReadDepthStencil(
            Component::Stencil, size, size, CopyLayoutOf(Component::Stencil, buffer.image), grey.get())) {
        return Refuse(fileName, reason);
    }
    for (std::size_t i = 0; i < memory.Bytes().size(); ++i) {
        memory.Bytes()[i] = grey[i * GreyPitch];
    }
    values.values = memory.Bytes().data();
    return sink.Take(values);
}

bool CanReadValues()
{
    return CanReadDepthStencil() &&
           HasEntryPoints(GL::ClearBufferuiv, GL::GetFramebufferAttachmentParameteriv);
}

} // namespace

std::uint32_t ReadScreenshotValues(ValueSink& sink, const std::string& fileName, std::uint32_t bufferMask)
{
    return WalkBuffers(
        bufferMask, [&](GLenum buffer) { return ReadBackBufferValues(sink, fileName, buffer); },
        [&](GLenum point) { return ReadAttachmentValues(sink, fileName, point); });
}

std::uint32_t ReadBackBufferValues(ValueSink& sink, const std::string& fileName, std::uint32_t buffer)
try {
    if (!CanQuerySurface() || !CanReadValues()) {
        return StatusFailure;
    }
    const QuietErrors quiet;
    const Attachment image = DescribeSurface();
    if (image.width < 1 || image.height < 1) {
        return StatusFailure;
    }
    const Buffer source = DescribeBuffer(buffer, image);
    if (source.bits == Bits{}) {
        return StatusFailure;
    }
    switch (buffer) {
    case GL_DEPTH:
        return ReadDepth(sink, fileName + FileSuffix(Component::Depth), source);
    case GL_STENCIL:
        return ReadStencil(sink, fileName + FileSuffix(Component::Stencil), source);
    default:
        return ReadColor(sink, fileName, source, GL_BACK);
    }
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

std::uint32_t ReadAttachmentValues(ValueSink& sink, const std::string& fileName, std::uint32_t attachment)
try {
    if (!CanDescribeAttachments() || !CanReadValues()) {
        return StatusFailure;
    }
    const QuietErrors quiet;
    const Attachment image = DescribeAttachment(attachment, Views::Ignore);
    if (image.objectName == 0 || image.isUntold || image.width < 1 || image.height < 1) {
        return StatusFailure;
    }
    const Buffer source = DescribeBuffer(attachment, image);
    if (source.bits == Bits{}) {
        return StatusFailure;
    }
    switch (attachment) {
    case GL_DEPTH_ATTACHMENT:
        return ReadDepth(sink, fileName + FileSuffix(Component::Depth), source);
    case GL_STENCIL_ATTACHMENT:
        return ReadStencil(sink, fileName + FileSuffix(Component::Stencil), source);
    default:
        break;
    }
    const std::string name = fileName + ColorSuffix(attachment);
    // `glReadPixels` refuses a multisampled framebuffer object: its samples are resolved first, which takes
    // the same format. Signed normalized values, read as they are, come as 0 from some drivers where they are
    // negative.
    const ImageLayout same = ColorLayoutOf(static_cast<GLenum>(source.image.internalFormat));
    constexpr ImageLayout Floats{GL_RGBA32F, GL_RGBA, GL_FLOAT};
    const bool isSigned = source.componentType == GL_SIGNED_NORMALIZED;
    if (source.samples > 0) {
        return isSigned ? ReadCopiedColor<2>(sink, name, source, {same, Floats})
                        : ReadCopiedColor<1>(sink, name, source, {same});
    }
    return isSigned ? ReadCopiedColor<1>(sink, name, source, {Floats})
                    : ReadColor(sink, name, source, attachment);
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

} // namespace Util
