#include "Util/GLCopy.h"

#include "Util/GLState.h"
#include "Util/GLUtils.h"

namespace Util {

namespace {

/// Clears the colour of the framebuffer bound for drawing, whatever the application's masks are.
void ClearColor(const ImageLayout& layout)
{
    constexpr std::array<GLfloat, 4> TransparentBlack{};
    constexpr std::array<GLint, 4> Zero{};
    constexpr std::array<GLuint, 4> UnsignedZero{};
    const SavedColorMask saved;
    GL::ColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    unsigned int format = 0;
    unsigned int type = 0;
    GetReadPixelFormatType(layout.internalFormat, &format, &type);
    if (format != GL_RGBA_INTEGER) {
        GL::ClearBufferfv(GL_COLOR, 0, TransparentBlack.data());
    } else if (type == GL_INT && HasEntryPoints(GL::ClearBufferiv)) {
        GL::ClearBufferiv(GL_COLOR, 0, Zero.data());
    } else if (type == GL_UNSIGNED_INT && HasEntryPoints(GL::ClearBufferuiv)) {
        GL::ClearBufferuiv(GL_COLOR, 0, UnsignedZero.data());
    }
}

} // namespace

ImageLayout LayoutOf(GLenum internalFormat, GLenum otherType)
{
    if (internalFormat == GL_STENCIL_INDEX8) {
        // The format tables name the sized format as its own transfer format, which `glTexImage2D` does not
        // take.
        return {internalFormat, GL_STENCIL_INDEX, GL_UNSIGNED_BYTE};
    }
    const GLenum format = GetFormatFromInternalFormat(internalFormat);
    const GLenum type = GetTypeFromInternalFormat(internalFormat);
    return {internalFormat, format != 0 ? format : internalFormat, type != 0 ? type : otherType};
}

ImageLayout ColorLayoutOf(GLenum internalFormat)
{
    ImageLayout layout = LayoutOf(internalFormat, GL_UNSIGNED_BYTE);
    if (layout.format == internalFormat && !IsUnsizedInternalFormat(internalFormat)) {
        layout.type = GL_NONE; // of an extension that the tables leave out, e.g. `GL_EXT_texture_norm16`
    }
    return layout;
}

void DefineTexture(GLuint texture, const ImageLayout& layout, Size size)
{
    GL::BindTexture(GL_TEXTURE_2D, texture);
    GL::TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    GL::TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    GL::TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    GL::TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    // A size beyond the limit should raise an error and nothing else, but Mesa 22 overflows its stack on one
    // of 31 bits. Without storage the texture makes its framebuffer incomplete, which is the error that
    // counts.
    const GLint limit = GetInteger(GL_MAX_TEXTURE_SIZE);
    if (size.width > limit || size.height > limit) {
        return;
    }
    if (layout.type != GL_NONE) {
        GL::TexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(layout.internalFormat), size.width, size.height,
                       0, layout.format, layout.type, nullptr);
    } else if (HasEntryPoints(GL::TexStorage2D)) {
        GL::TexStorage2D(GL_TEXTURE_2D, 1, layout.internalFormat, size.width, size.height);
    }
}

SavedBindings::SavedBindings()
{
    GL::BindBuffer(GL_PIXEL_PACK_BUFFER, 0U);
    GL::BindBuffer(GL_PIXEL_UNPACK_BUFFER, 0U);
}

ColorTarget::~ColorTarget()
{
    GL::DeleteFramebuffers(1, &m_framebuffer);
    GL::DeleteTextures(1, &m_texture);
}

GLenum ColorTarget::CopyFrom(GLuint framebuffer, GLenum readBuffer, Size sourceSize,
                             const ImageLayout& layout, Size size, GLenum filter)
{
    GL::GenTextures(1, &m_texture);
    DefineTexture(m_texture, layout, size);
    GL::GenFramebuffers(1, &m_framebuffer);
    GL::BindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
    GL::FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, m_texture, 0);

    GL::BindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
    const SelectedReadBuffer selected(readBuffer);
    const EncodedSrgb encoded;
    const DisabledCapabilities<3> neutral({GL_SCISSOR_TEST, GL_STENCIL_TEST, GL_RASTERIZER_DISCARD});
    ClearColor(layout);
    TakeError(); // whatever was pending says nothing about the copy
    GL::BlitFramebuffer(0, 0, sourceSize.width, sourceSize.height, 0, 0, size.width, size.height,
                        GL_COLOR_BUFFER_BIT, filter);
    return TakeError();
}

bool CanCopyColor()
{
    return HasEntryPoints(GL::GetIntegerv, GL::GenFramebuffers, GL::BindFramebuffer, GL::BindBuffer,
                          GL::GenTextures, GL::BindTexture, GL::TexParameteri, GL::TexImage2D,
                          GL::BlitFramebuffer, GL::DeleteFramebuffers, GL::DeleteTextures,
                          GL::FramebufferTexture2D, GL::IsEnabled, GL::Disable, GL::Enable, GL::ActiveTexture,
                          GL::GetError, GL::ReadBuffer, GL::GetBooleanv, GL::ColorMask, GL::ClearBufferfv);
}

} // namespace Util
