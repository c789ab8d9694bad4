#include "Util/GLReadback.h"

#include "Util/GLAttachment.h"
#include "Util/GLCopy.h"
#include "Util/GLDepthStencil.h"
#include "Util/GLDispatch.h"
#include "Util/GLState.h"
#include "Util/GLUtils.h"
#include "Util/Logging.h"
#include "Util/Picture.h"
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

} // namespace

std::uint32_t ReadScreenshot(ImageSink& sink, const std::string& fileName, std::uint32_t bufferMask)
{
    if (!HasEntryPoints(GL::GetIntegerv, GL::BindFramebuffer)) {
        return StatusFailure;
    }
    const GLint draw = GetInteger(GL_FRAMEBUFFER_BINDING);
    const GLint read = GetInteger(GL_READ_FRAMEBUFFER_BINDING);
    if (draw != read) {
        GL::BindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(draw));
    }

    std::uint32_t status = StatusFailure; // until something has been captured
    const auto isAsked = [bufferMask](GLbitfield bit) { return (bufferMask & bit) != 0; };
    if (draw == 0) {
        if (isAsked(GL_COLOR_BUFFER_BIT)) {
            status = ReadBackBuffer(sink, fileName, GL_BACK);
        }
        if (isAsked(GL_DEPTH_BUFFER_BIT)) {
            status = ReadBackBuffer(sink, fileName, GL_DEPTH);
        }
        if (isAsked(GL_STENCIL_BUFFER_BIT)) {
            status = ReadBackBuffer(sink, fileName, GL_STENCIL);
        }
    } else {
        if (isAsked(GL_COLOR_BUFFER_BIT)) {
            const auto points = static_cast<GLuint>(GetInteger(GL_MAX_COLOR_ATTACHMENTS));
            for (GLuint i = 0; i < points; ++i) {
                status = ReadAttachment(sink, fileName, GL_COLOR_ATTACHMENT0 + i);
                if (status != StatusSuccess) {
                    break;
                }
            }
        }
        if (isAsked(GL_DEPTH_BUFFER_BIT)) {
            status = ReadAttachment(sink, fileName, GL_DEPTH_ATTACHMENT);
        }
        if (isAsked(GL_STENCIL_BUFFER_BIT)) {
            status = ReadAttachment(sink, fileName, GL_STENCIL_ATTACHMENT);
        }
    }

    if (draw != read) {
        GL::BindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(read));
    }
    return status;
}

std::uint32_t ReadBackBuffer(ImageSink& sink, const std::string& fileName, std::uint32_t buffer)
try {
    const bool isColor = buffer == GL_BACK;
    if (!CanQuerySurface() || !(isColor ? CanReadColor() : CanReadDepthStencil())) {
        return StatusFailure;
    }
    const Size size = QuerySurfaceSize();
    if (size.width < 1 || size.height < 1) {
        return StatusFailure; // without a surface, queries of its buffers are errors
    }
    const QuietErrors quiet;
    if (isColor) {
        return ReadColorBuffer(sink, fileName, GL_BACK, size.width, size.height, BackBufferFormat());
    }
    const bool isStencil = buffer == GL_STENCIL;
    const auto depthBits = static_cast<std::uint32_t>(GetInteger(GL_DEPTH_BITS));
    const auto stencilBits = static_cast<std::uint32_t>(GetInteger(GL_STENCIL_BITS));
    return ReadDepthStencilBuffer(sink, fileName + (isStencil ? "_stencil" : "_depth"), size.width,
                                  size.height, depthBits, stencilBits, isStencil);
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

std::uint32_t ReadAttachment(ImageSink& sink, const std::string& fileName, std::uint32_t attachment)
try {
    const bool isStencil = attachment == GL_STENCIL_ATTACHMENT;
    const bool isColor = !isStencil && attachment != GL_DEPTH_ATTACHMENT;
    if (!CanDescribeAttachments() || !(isColor ? CanReadColor() : CanReadDepthStencil())) {
        return StatusFailure;
    }
    const QuietErrors quiet; // GL may well refuse to read an attachment
    const Attachment source = DescribeAttachment(attachment, Views::Ignore);
    if (source.objectName == 0 || source.isUntold) {
        return StatusFailure;
    }
    if (!isColor) {
        return ReadDepthStencilBuffer(sink, fileName + (isStencil ? "_stencil" : "_depth"), source.width,
                                      source.height, static_cast<std::uint32_t>(source.depthSize),
                                      static_cast<std::uint32_t>(source.stencilSize), isStencil);
    }
    const std::string name =
        fileName + "_color" + std::to_string(static_cast<int>(attachment - GL_COLOR_ATTACHMENT0));
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
    if (width < 1 || height < 1 || GetPitch(format, type) == 0) {
        return StatusFailure;
    }
    Picture picture(sink, {width, height}, type);
    if (!picture.HasMemory()) {
        return StatusFailure;
    }
    {
        const QuietErrors quiet;
        const PackedRead packed;
        const SelectedReadBuffer selected(static_cast<GLenum>(readBuffer));
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
    Picture picture(sink, size, GL_UNSIGNED_BYTE);
    if (!picture.HasMemory()) {
        return StatusFailure;
    }
    ReadDepthStencil(isStencil ? Component::Stencil : Component::Depth, size, size, copy, picture.Pixels());
    return picture.HandOver(fileName);
}

} // namespace Util
