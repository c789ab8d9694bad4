#include "Util/GLReadback.h"

#include "Util/BufferWalk.h"
#include "Util/GLAttachment.h"
#include "Util/GLCopy.h"
#include "Util/GLDepthStencil.h"
#include "Util/GLDispatch.h"
#include "Util/GLState.h"
#include "Util/GLUtils.h"
#include "Util/Logging.h"
#include "Util/SinkImage.h"
#include "Util/StatusCode.h"

#include <new>
#include <string>

namespace Util {

namespace {

bool CanReadColor()
{
    return HasEntryPoints(GL::GetIntegerv, GL::ReadBuffer, GL::ReadPixels, GL::PixelStorei, GL::BindBuffer);
}

/// A format that is read as the back buffer is to be read, not the one that it has: bytes can be had of every
/// back buffer but one of floats (`EGL_EXT_pixel_format_float`).
GLint BackBufferFormat()
{
    GLint componentType = GL_UNSIGNED_NORMALIZED;
    if (HasEntryPoints(GL::GetFramebufferAttachmentParameteriv)) {
        GL::GetFramebufferAttachmentParameteriv(GL_READ_FRAMEBUFFER, GL_BACK,
                                                GL_FRAMEBUFFER_ATTACHMENT_COMPONENT_TYPE, &componentType);
    }
    return componentType == GL_FLOAT ? GL_RGBA16F : GL_RGBA8;
}

void LogBlack(const std::string& fileName)
{
    UTIL_LOG(Core::Log::LevelWarning, "The picture %s is black: the driver refused to read it",
             fileName.c_str());
}

/// `glReadPixels` refuses a multisampled framebuffer object: its samples are resolved first.
std::uint32_t ReadMultisampledColorBuffer(ImageSink& sink, const std::string& fileName,
                                          std::uint32_t readBuffer, const Attachment& source)
{
    if (!CanCopyColor() || source.width < 1 || source.height < 1) {
        return StatusFailure;
    }
    ColorTarget resolved;
    const SavedBindings saved;
    const Size size{source.width, source.height};
    const ImageLayout layout = ColorLayoutOf(static_cast<GLenum>(source.internalFormat));
    if (resolved.CopyFrom(saved.DrawFramebuffer(), readBuffer, size, layout, size, GL_NEAREST) !=
        GL_NO_ERROR) {
        UTIL_LOG(Core::Log::LevelWarning, "The driver refused to resolve the samples of %s",
                 fileName.c_str());
        return StatusFailure;
    }
    GL::BindFramebuffer(GL_READ_FRAMEBUFFER, resolved.Framebuffer());
    return ReadColorBuffer(sink, fileName, GL_COLOR_ATTACHMENT0, source.width, source.height,
                           source.internalFormat);
}

std::uint32_t ReadComponent(Component component, ImageSink& sink, const std::string& fileName,
                            const Attachment& image)
{
    return ReadDepthStencilBuffer(
        sink, fileName, image.width, image.height, static_cast<std::uint32_t>(image.depthSize),
        static_cast<std::uint32_t>(image.stencilSize), component == Component::Stencil);
}

} // namespace

std::uint32_t ReadScreenshot(ImageSink& sink, const std::string& fileName, std::uint32_t bufferMask)
{
    return WalkBuffers(
        bufferMask, [&](GLenum buffer) { return ReadBackBuffer(sink, fileName, buffer); },
        [&](GLenum point) { return ReadAttachment(sink, fileName, point); });
}

std::uint32_t ReadBackBuffer(ImageSink& sink, const std::string& fileName, std::uint32_t buffer)
try {
    const bool isColor = buffer == GL_BACK;
    if (!CanQuerySurface() || !(isColor ? CanReadColor() : CanReadDepthStencil())) {
        return StatusFailure;
    }
    const QuietErrors quiet;
    const Attachment surface = DescribeSurface();
    if (surface.width < 1 || surface.height < 1) {
        return StatusFailure; // without a surface, queries of its buffers are errors
    }
    if (isColor) {
        return ReadColorBuffer(sink, fileName, GL_BACK, surface.width, surface.height, BackBufferFormat());
    }
    const Component component = buffer == GL_STENCIL ? Component::Stencil : Component::Depth;
    return ReadComponent(component, sink, fileName + FileSuffix(component), surface);
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

std::uint32_t ReadAttachment(ImageSink& sink, const std::string& fileName, std::uint32_t attachment)
try {
    const bool isColor = attachment != GL_DEPTH_ATTACHMENT && attachment != GL_STENCIL_ATTACHMENT;
    if (!CanDescribeAttachments() || !(isColor ? CanReadColor() : CanReadDepthStencil())) {
        return StatusFailure;
    }
    const QuietErrors quiet; // GL may well refuse to read an attachment
    const Attachment source = DescribeAttachment(attachment, Views::Ignore);
    if (source.objectName == 0 || source.isUntold) {
        return StatusFailure;
    }
    if (!isColor) {
        const Component component =
            attachment == GL_STENCIL_ATTACHMENT ? Component::Stencil : Component::Depth;
        return ReadComponent(component, sink, fileName + FileSuffix(component), source);
    }
    const std::string name = fileName + ColorSuffix(attachment);
    return GetInteger(GL_SAMPLE_BUFFERS) > 0
               ? ReadMultisampledColorBuffer(sink, name, attachment, source)
               : ReadColorBuffer(sink, name, static_cast<std::int32_t>(attachment), source.width,
                                 source.height, source.internalFormat);
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

std::uint32_t ReadColorBuffer(ImageSink& sink, const std::string& fileName, std::int32_t readBuffer,
                              std::int32_t width, std::int32_t height, std::int32_t internalFormat)
{
    if (!CanReadColor()) {
        return StatusFailure;
    }
    unsigned int format = 0;
    unsigned int type = 0;
    GetReadPixelFormatType(static_cast<unsigned int>(internalFormat), &format, &type);
    if (width < 1 || height < 1 || GetPitch(format, type) == 0 || readBuffer == GL_NONE) {
        return StatusFailure;
    }
    SinkImage picture(sink, {width, height}, type);
    if (!picture.HasMemory()) {
        return StatusFailure;
    }
    {
        const QuietErrors quiet;
        const PackedRead packed;
        const SelectedReadBuffer selected(static_cast<GLenum>(readBuffer));
        const GLenum error = TakeError(); // that of a lost context is none of the selection
        if (error == GL_INVALID_ENUM || error == GL_INVALID_OPERATION) {
            return StatusFailure; // there is no such buffer: another is selected still
        }
        if (picture.Read() != GL_NO_ERROR) {
            LogBlack(fileName);
        }
    }
    return picture.HandOver(fileName);
}

std::uint32_t ReadDepthStencilBuffer(ImageSink& sink, const std::string& fileName, std::int32_t width,
                                     std::int32_t height, std::uint32_t depthSize, std::uint32_t stencilSize,
                                     bool isStencil)
{
    if (!CanReadDepthStencil()) {
        return StatusFailure;
    }
    ImageLayout copy{};
    GetDepthStencilFormatType(static_cast<int>(depthSize), static_cast<int>(stencilSize),
                              &copy.internalFormat, &copy.format, &copy.type);
    if (width < 1 || height < 1 || copy.internalFormat == 0) {
        return StatusFailure;
    }
    const Size size{width, height};
    SinkImage picture(sink, size, GL_UNSIGNED_BYTE);
    if (!picture.HasMemory()) {
        return StatusFailure;
    }
    ShowDepthStencil(isStencil ? Component::Stencil : Component::Depth, size, size, copy, picture.Pixels());
    return picture.HandOver(fileName);
}

} // namespace Util
