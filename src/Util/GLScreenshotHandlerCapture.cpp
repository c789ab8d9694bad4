#include "Util/GLAttachment.h"
#include "Util/GLCopy.h"
#include "Util/GLDepthStencil.h"
#include "Util/GLDispatch.h"
#include "Util/GLScreenshotHandler.h"
#include "Util/GLState.h"
#include "Util/GLUtils.h"
#include "Util/Logging.h"
#include "Util/PixelBuffer.h"
#include "Util/String.h"

#include <array>
#include <new>

namespace Util {

namespace {

constexpr std::array<ImageQuery, 5> FullSizeQueries{{
    {GL_TEXTURE_WIDTH, GL_RENDERBUFFER_WIDTH, &Attachment::width},
    {GL_TEXTURE_HEIGHT, GL_RENDERBUFFER_HEIGHT, &Attachment::height},
    {GL_TEXTURE_INTERNAL_FORMAT, GL_RENDERBUFFER_INTERNAL_FORMAT, &Attachment::internalFormat},
    {GL_TEXTURE_DEPTH_SIZE, GL_RENDERBUFFER_DEPTH_SIZE, &Attachment::depthSize},
    {GL_TEXTURE_STENCIL_SIZE, GL_RENDERBUFFER_STENCIL_SIZE, &Attachment::stencilSize},
}};

bool CanReadColor()
{
    return HasEntryPoints(GL::GetIntegerv, GL::ReadBuffer, GL::ReadPixels, GL::PixelStorei, GL::BindBuffer);
}

/// Bytes can be read of every back buffer but one of floats (`EGL_EXT_pixel_format_float`).
GLint BackBufferFormat()
{
    GLint componentType = GL_UNSIGNED_NORMALIZED;
    if (HasEntryPoints(GL::GetFramebufferAttachmentParameteriv)) {
        GL::GetFramebufferAttachmentParameteriv(GL_READ_FRAMEBUFFER, GL_BACK,
                                                GL_FRAMEBUFFER_ATTACHMENT_COMPONENT_TYPE, &componentType);
    }
    return componentType == GL_FLOAT ? GL_RGBA16F : GL_RGBA8;
}

bool IsDepthOrStencil(std::uint32_t attachment)
{
    return attachment == GL_DEPTH_ATTACHMENT || attachment == GL_STENCIL_ATTACHMENT;
}

} // namespace

std::uint32_t GLScreenshotHandler::TakeScreenshot(const std::string& fileName, std::uint32_t bufferMask)
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
            status = TakeScreenshotBackBuffer(fileName, GL_BACK);
        }
        if (isAsked(GL_DEPTH_BUFFER_BIT)) {
            status = TakeScreenshotBackBuffer(fileName, GL_DEPTH);
        }
        if (isAsked(GL_STENCIL_BUFFER_BIT)) {
            status = TakeScreenshotBackBuffer(fileName, GL_STENCIL);
        }
    } else {
        if (isAsked(GL_COLOR_BUFFER_BIT)) {
            const auto points = static_cast<GLuint>(GetInteger(GL_MAX_COLOR_ATTACHMENTS));
            for (GLuint i = 0; i < points; ++i) {
                status = TakeScreenshotFBO(fileName, GL_COLOR_ATTACHMENT0 + i);
                if (status != StatusSuccess) {
                    break;
                }
            }
        }
        if (isAsked(GL_DEPTH_BUFFER_BIT)) {
            status = TakeScreenshotFBO(fileName, GL_DEPTH_ATTACHMENT);
        }
        if (isAsked(GL_STENCIL_BUFFER_BIT)) {
            status = TakeScreenshotFBO(fileName, GL_STENCIL_ATTACHMENT);
        }
    }

    if (draw != read) {
        GL::BindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(read));
    }
    return status;
}

std::uint32_t GLScreenshotHandler::TakeScreenshotBackBuffer(const std::string& fileName, std::uint32_t buffer)
try {
    const bool isColor = buffer == GL_BACK;
    if (!CanQuerySurface() || !(isColor ? CanReadColor() : CanReadDepthStencil())) {
        return StatusFailure;
    }
    GLint width = 0;
    GLint height = 0;
    QuerySurfaceSize(&width, &height);
    if (isColor) {
        return WriteColorBuffer(fileName, GL_BACK, width, height, BackBufferFormat());
    }
    const bool isStencil = buffer == GL_STENCIL;
    const auto depthBits = static_cast<std::uint32_t>(GetInteger(GL_DEPTH_BITS));
    const auto stencilBits = static_cast<std::uint32_t>(GetInteger(GL_STENCIL_BITS));
    return WriteDepthStencilBuffer(fileName + (isStencil ? "_stencil" : "_depth"), width, height, depthBits,
                                   stencilBits, isStencil);
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

std::uint32_t GLScreenshotHandler::TakeScreenshotFBO(const std::string& fileName, std::uint32_t attachment)
try {
    const bool isColor = !IsDepthOrStencil(attachment);
    if (!CanDescribeAttachments() || !(isColor ? CanReadColor() : CanReadDepthStencil())) {
        return StatusFailure;
    }
    const QuietErrors quiet; // GL may well refuse to read an attachment
    const Attachment source = DescribeAttachment(attachment, FullSizeQueries, Views::Ignore);
    if (source.objectName == 0) {
        return StatusFailure;
    }
    if (isColor) {
        const std::string number = String::FromInt(static_cast<int>(attachment - GL_COLOR_ATTACHMENT0), 10);
        const std::string name = fileName + "_color" + number;
        if (GetInteger(GL_SAMPLE_BUFFERS) > 0) {
            return WriteMultisampledColorBuffer(name, attachment, source.width, source.height,
                                                source.internalFormat);
        }
        const std::uint32_t status = WriteColorBuffer(name, static_cast<std::int32_t>(attachment),
                                                      source.width, source.height, source.internalFormat);
        if (GL::GetError() != GL_NO_ERROR) {
            UTIL_LOG(Core::Log::LevelWarning,
                     "The picture of colour attachment %s is black: the driver refused to read it",
                     number.c_str());
        }
        return status;
    }
    const bool isStencil = attachment == GL_STENCIL_ATTACHMENT;
    return WriteDepthStencilBuffer(fileName + (isStencil ? "_stencil" : "_depth"), source.width,
                                   source.height, static_cast<std::uint32_t>(source.depthSize),
                                   static_cast<std::uint32_t>(source.stencilSize), isStencil);
} catch (const std::bad_alloc&) {
    return StatusFailure; // no memory for a name
}

std::uint32_t GLScreenshotHandler::WriteColorBuffer(const std::string& fileName, std::int32_t readBuffer,
                                                    std::int32_t width, std::int32_t height,
                                                    std::int32_t internalFormat)
{
    if (!CanReadColor()) {
        return StatusFailure;
    }
    unsigned int format = 0;
    unsigned int type = 0;
    GetReadPixelFormatType(static_cast<unsigned int>(internalFormat), &format, &type);
    const unsigned int pitch = GetPitch(format, type);
    if (width < 1 || height < 1 || pitch == 0) {
        return StatusFailure;
    }
    const auto columns = static_cast<std::uint32_t>(width);
    const auto rows = static_cast<std::uint32_t>(height);
    const PixelBuffer pixels = AllocatePixels(columns, rows, pitch);
    if (!pixels) {
        return StatusFailure;
    }
    {
        const PackedRead packed;
        const SelectedReadBuffer selected(static_cast<GLenum>(readBuffer));
        GL::ReadPixels(0, 0, width, height, format, type, pixels.get());
    }
    return WriteScreenshot(fileName, columns, rows, pixels.get(), format, type);
}

/// `glReadPixels` refuses a multisampled framebuffer object: its samples are resolved first.
std::uint32_t GLScreenshotHandler::WriteMultisampledColorBuffer(const std::string& fileName,
                                                                std::uint32_t readBuffer, std::int32_t width,
                                                                std::int32_t height,
                                                                std::int32_t internalFormat)
{
    if (!CanCopyColor() || width < 1 || height < 1) {
        return StatusFailure;
    }
    ColorTarget resolved;
    const SavedBindings saved;
    const Size size{width, height};
    const ImageLayout layout = ColorLayoutOf(static_cast<GLenum>(internalFormat));
    if (resolved.CopyFrom(saved.DrawFramebuffer(), readBuffer, size, layout, size, GL_NEAREST) !=
        GL_NO_ERROR) {
        UTIL_LOG(Core::Log::LevelWarning, "The driver refused to resolve the samples of %s",
                 fileName.c_str());
        return StatusFailure;
    }
    GL::BindFramebuffer(GL_READ_FRAMEBUFFER, resolved.Framebuffer());
    return WriteColorBuffer(fileName, GL_COLOR_ATTACHMENT0, width, height, internalFormat);
}

std::uint32_t GLScreenshotHandler::WriteDepthStencilBuffer(const std::string& fileName, std::int32_t width,
                                                           std::int32_t height, std::uint32_t depthSize,
                                                           std::uint32_t stencilSize, bool isStencil)
{
    if (!CanReadDepthStencil()) {
        return StatusFailure;
    }
    unsigned int internalFormat = 0;
    unsigned int format = 0;
    unsigned int type = 0;
    GetDepthStencilFormatType(static_cast<int>(depthSize), static_cast<int>(stencilSize), &internalFormat,
                              &format, &type);
    if (width < 1 || height < 1 || internalFormat == 0 || format == 0 || type == 0) {
        return StatusFailure;
    }
    const auto columns = static_cast<std::uint32_t>(width);
    const auto rows = static_cast<std::uint32_t>(height);
    const PixelBuffer pixels = AllocatePixels(columns, rows, GetPitch(GL_RGBA, GL_UNSIGNED_BYTE));
    if (!pixels) {
        return StatusFailure;
    }
    GetDepthStencilBuffer(columns, rows, columns, rows, pixels.get(), internalFormat, format, type,
                          isStencil);
    return WriteScreenshot(fileName, columns, rows, pixels.get(), GL_RGBA, GL_UNSIGNED_BYTE);
}

} // namespace Util
