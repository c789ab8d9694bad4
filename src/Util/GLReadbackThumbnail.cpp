#include "Util/GLAttachment.h"
#include "Util/GLCopy.h"
#include "Util/GLDepthStencil.h"
#include "Util/GLDispatch.h"
#include "Util/GLReadback.h"
#include "Util/GLState.h"
#include "Util/GLUtils.h"
#include "Util/SinkImage.h"
#include "Util/StatusCode.h"

#include <cmath>
#include <limits>

namespace Util {

namespace {

/// @return `length` without its fraction, cut to what a size can be
GLsizei Truncate(float length)
{
    constexpr float Limit = 0x1p31F;
    return std::abs(length) < Limit ? static_cast<GLsizei>(length) : std::numeric_limits<GLsizei>::max();
}

/// The largest size of the source's proportions in a box; a side of 0 stands for the source's own.
Size FitIntoBox(Size source, std::int32_t maxWidth, std::int32_t maxHeight)
{
    Size size{maxWidth != 0 ? maxWidth : source.width, maxHeight != 0 ? maxHeight : source.height};
    const float sourceAspect = static_cast<float>(source.width) / static_cast<float>(source.height);
    const float boxAspect = static_cast<float>(size.width) / static_cast<float>(size.height);
    if (sourceAspect > boxAspect) {
        size.height = Truncate(static_cast<float>(size.width) / sourceAspect);
    } else if (sourceAspect < boxAspect) {
        size.width = Truncate(static_cast<float>(size.height) * sourceAspect);
    }
    return size;
}

/// One view of an attachment, attached to a framebuffer object of the library's own.
class ViewFramebuffer
{
public:
    ViewFramebuffer() = default;
    ViewFramebuffer(const ViewFramebuffer&) = delete;
    ViewFramebuffer& operator=(const ViewFramebuffer&) = delete;
    ~ViewFramebuffer() { GL::DeleteFramebuffers(1, &m_name); }

    /// Makes it and leaves it bound for drawing and reading.
    ///
    /// @param point  where the view is attached
    /// @return false when the host lacks an entry point for it; nothing is made then
    bool Create(const Attachment& source, GLenum point)
    {
        // Some drivers (ANGLE) tell of one view for every attachment: one without layers comes here as well.
        const bool isLayered = source.target == GL_TEXTURE_2D_ARRAY || source.target == GL_TEXTURE_3D ||
                               source.target == GL_TEXTURE_2D_MULTISAMPLE_ARRAY ||
                               source.target == GL_TEXTURE_CUBE_MAP_ARRAY;
        if (isLayered && !HasEntryPoints(GL::FramebufferTextureLayer)) {
            return false;
        }
        GL::GenFramebuffers(1, &m_name);
        GL::BindFramebuffer(GL_FRAMEBUFFER, m_name);
        const auto texture = static_cast<GLuint>(source.objectName);
        if (isLayered) {
            GL::FramebufferTextureLayer(GL_FRAMEBUFFER, point, texture, source.level, source.ViewLayer());
        } else {
            GL::FramebufferTexture2D(GL_FRAMEBUFFER, point, source.target, texture, source.level);
        }
        return true;
    }

    [[nodiscard]] GLuint Name() const { return m_name; }

private:
    GLuint m_name = 0;
};

/// Makes `glReadPixels` pack rows without padding. Only the alignment is put back, at the end of its scope:
/// hosts know that row length and skips are 0 after a thumbnail.
class PackedThumbnailRead
{
public:
    PackedThumbnailRead() { PackTightly(); }

private:
    SavedPixelStore<GL_PACK_ALIGNMENT, 1> m_alignment;
    BottomRowFirst m_bottomRowFirst;
};

/// The image that a colour thumbnail is made of.
struct ColorSource
{
    Attachment image;
    GLuint framebuffer = 0;
    bool isMultisampled = false;
    bool isSrgb = false;
    bool isFloat = false;
};

ColorSource DescribeColorSource()
{
    ColorSource source;
    source.framebuffer = static_cast<GLuint>(GetInteger(GL_FRAMEBUFFER_BINDING));
    const GLint sampleBuffers = GetInteger(GL_SAMPLE_BUFFERS);
    GLint defaultSamples = 0;
    if (source.framebuffer == 0) {
        source.image = DescribeSurface();
    } else {
        source.image = DescribeAttachment(GL_COLOR_ATTACHMENT0, Views::Query);
        GL::GetFramebufferParameteriv(GL_DRAW_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_SAMPLES, &defaultSamples);
    }
    source.isMultisampled = sampleBuffers > 0 || defaultSamples > 0 || source.image.samples > 0;

    if (source.image.width != 0 && source.image.height != 0) {
        const auto get = [point = DefaultReadBuffer(source.framebuffer)](GLenum name) {
            GLint value = GL_NONE;
            GL::GetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, point, name, &value);
            return value;
        };
        source.isSrgb = get(GL_FRAMEBUFFER_ATTACHMENT_COLOR_ENCODING) == GL_SRGB;
        source.isFloat = get(GL_FRAMEBUFFER_ATTACHMENT_COMPONENT_TYPE) == GL_FLOAT;
        if (source.framebuffer == 0 && source.isFloat) {
            source.image.redType = GL_FLOAT; // `EGL_EXT_pixel_format_float`
        }
    }
    return source;
}

/// Layout of a texture that the source can be resolved into: the formats of the two must match.
ImageLayout ResolveLayout(const ColorSource& source)
{
    const Attachment& image = source.image;
    auto internalFormat = static_cast<GLenum>(image.internalFormat);
    if (internalFormat == 0 || IsUnsizedInternalFormat(internalFormat)) {
        const auto bits = [](GLint value) { return static_cast<unsigned int>(value); };
        internalFormat = GetInternalFormatFromRGBAComponentInfo(
            bits(image.redSize), bits(image.greenSize), bits(image.blueSize), bits(image.alphaSize),
            bits(image.redType), 0, 0, 0); // of the types, red's alone counts
    }
    if (source.isSrgb && (internalFormat == GL_RGBA8 || internalFormat == GL_RGB8)) {
        internalFormat = GL_SRGB8_ALPHA8; // a window surface tells its component sizes alone
    }
    return ColorLayoutOf(internalFormat);
}

/// Layout of the thumbnail. A blit converts between linear and sRGB values, and what is read back should look
/// like the source.
ImageLayout ThumbnailLayout(const ColorSource& source)
{
    return {static_cast<GLenum>(source.isSrgb ? GL_SRGB8_ALPHA8 : GL_RGBA), GL_RGBA, GL_UNSIGNED_BYTE};
}

/// What is there to be read after a step: of one framebuffer, one buffer.
struct Stage
{
    GLuint framebuffer;
    GLenum buffer;
    Size size;
};

/// @return `GL_NO_ERROR`; what the driver raised when it refused to resolve, and then the stage is as it was
GLenum Resolve(const ColorSource& source, ColorTarget& target, Stage& stage)
{
    const GLenum error = target.CopyFrom(stage.framebuffer, stage.buffer, stage.size, ResolveLayout(source),
                                         stage.size, GL_NEAREST);
    if (error == GL_NO_ERROR) {
        stage = {target.Framebuffer(), GL_COLOR_ATTACHMENT0, stage.size};
    }
    return error;
}

/// @return as `Resolve`
GLenum Scale(const ColorSource& source, Size size, ColorTarget& target, Stage& stage)
{
    const GLenum error = target.CopyFrom(stage.framebuffer, stage.buffer, stage.size, ThumbnailLayout(source),
                                         size, GL_LINEAR);
    if (error == GL_NO_ERROR) {
        stage = {target.Framebuffer(), GL_COLOR_ATTACHMENT0, size};
    }
    return error;
}

std::uint32_t Read(ImageSink& sink, const std::string& fileName, const Stage& stage, GLenum type)
{
    SinkImage picture(sink, stage.size, type);
    if (!picture.HasMemory()) {
        return StatusFailure;
    }
    GL::BindFramebuffer(GL_READ_FRAMEBUFFER, stage.framebuffer);
    {
        const SelectedReadBuffer selected(stage.buffer);
        if (picture.Read() != GL_NO_ERROR) {
            return StatusFailure;
        }
    }
    return picture.HandOver(fileName);
}

bool CanTakeThumbnail()
{
    return HasEntryPoints(GL::GetIntegerv, GL::GetFramebufferAttachmentParameteriv,
                          GL::GetRenderbufferParameteriv, GL::GetTexLevelParameteriv, GL::ReadBuffer,
                          GL::ReadPixels) &&
           CanCopyColor() && HasEntryPoints(GL::PixelStorei, GL::GetFramebufferParameteriv) &&
           CanQuerySurface() && CanDescribeAttachments();
}

std::uint32_t ReadThumbnailOf(Component component, ImageSink& sink, const std::string& fileName,
                              std::int32_t maxWidth, std::int32_t maxHeight)
{
    if (maxWidth < 0 || maxHeight < 0 || !CanDescribeAttachments() || !CanReadDepthStencil() ||
        !CanQuerySurface()) {
        return StatusFailure;
    }
    const QuietErrors quiet;
    ViewFramebuffer view; // ends after the application's framebuffers are bound again
    const SavedReadFramebuffer readFramebuffer;
    const SavedDrawFramebuffer drawFramebuffer;
    Attachment image;
    if (drawFramebuffer.Value() == 0) {
        image = DescribeSurface();
    } else {
        image = DescribeAttachment(AttachmentPoint(component), Views::Query);
        const bool isView = image.numViews > 0;
        if (image.isUntold || (isView && !view.Create(image, AttachmentPoint(component)))) {
            return StatusFailure;
        }
    }

    if ((component == Component::Stencil ? image.stencilSize : image.depthSize) == 0) {
        return StatusNoComponent;
    }
    const Size source{image.width, image.height};
    if (source.width == 0 || source.height == 0) {
        return StatusEmptySource;
    }
    const Size size = FitIntoBox(source, maxWidth, maxHeight);
    const GLint limit = GetInteger(GL_MAX_TEXTURE_SIZE);
    if (source.width < 0 || source.height < 0 || size.width < 1 || size.height < 1 || size.width > limit ||
        size.height > limit) {
        return StatusFailure;
    }

    SinkImage picture(sink, size, GL_UNSIGNED_BYTE);
    if (!picture.HasMemory()) {
        return StatusFailure;
    }
    ShowDepthStencil(component, source, size, CopyLayoutOf(component, image), picture.Pixels());
    return picture.HandOver(fileName);
}

} // namespace

std::uint32_t ReadThumbnail(ImageSink& sink, const std::string& fileName, std::int32_t maxWidth,
                            std::int32_t maxHeight)
{
    if (maxWidth < 0 || maxHeight < 0 || !CanTakeThumbnail()) {
        return StatusFailure;
    }
    const QuietErrors quiet;
    const ColorSource source = DescribeColorSource();
    if (source.image.isUntold) {
        return StatusFailure;
    }
    Stage stage{
        source.framebuffer, DefaultReadBuffer(source.framebuffer), {source.image.width, source.image.height}};
    if (stage.size.width == 0 || stage.size.height == 0) {
        return StatusEmptySource;
    }
    const Size size = FitIntoBox(stage.size, maxWidth, maxHeight);

    // From here on things end in reverse: the application's bindings come back while the library's objects,
    // which had taken their place, still live; then these are deleted; the pack state comes last.
    const PackedThumbnailRead packed;
    ViewFramebuffer view;
    ColorTarget resolved;
    ColorTarget scaled;
    const SavedBindings saved;

    if (source.image.numViews > 0) {
        if (!view.Create(source.image, GL_COLOR_ATTACHMENT0)) {
            return StatusFailure;
        }
        stage.framebuffer = view.Name();
    }
    GLenum error = source.isMultisampled ? Resolve(source, resolved, stage) : GL_NO_ERROR;
    if (error == GL_NO_ERROR) {
        error = Scale(source, size, scaled, stage);
    }
    if (stage.size.width < 0 || stage.size.height < 0) {
        return StatusFailure;
    }
    GLenum type = GL_UNSIGNED_BYTE;
    if (error != GL_NO_ERROR) {
        // The full size instead. Samples and views of a framebuffer object cannot be read, only their copy.
        // The window surface can.
        if (source.framebuffer == 0) {
            stage = {0, GL_BACK, stage.size};
        }
        type = source.isFloat ? GL_FLOAT : type; // floats cannot be read as bytes
    }
    return Read(sink, fileName, stage, type);
}

std::uint32_t ReadThumbnailDepth(ImageSink& sink, const std::string& fileName, std::int32_t maxWidth,
                                 std::int32_t maxHeight)
{
    return ReadThumbnailOf(Component::Depth, sink, fileName, maxWidth, maxHeight);
}

std::uint32_t ReadThumbnailStencil(ImageSink& sink, const std::string& fileName, std::int32_t maxWidth,
                                   std::int32_t maxHeight)
{
    return ReadThumbnailOf(Component::Stencil, sink, fileName, maxWidth, maxHeight);
}

} // namespace Util
