#pragma once

#include "Util/GLDispatch.h"
#include "Util/GLState.h"

#include <array>

namespace Util {

struct Size
{
    GLsizei width;
    GLsizei height;
};

/// What `glTexImage2D` takes to describe an image.
struct ImageLayout
{
    GLenum internalFormat;
    GLenum format;
    GLenum type; ///< `GL_NONE`: neither it nor the format is known; `glTexStorage2D` needs none
};

/// @param internalFormat  sized
/// @param otherType       type where the format tables know none for the format
/// @return the layout with which a texture of this format is defined
ImageLayout LayoutOf(GLenum internalFormat, GLenum otherType);

/// @param internalFormat  of a colour buffer, sized or not, known to the format tables or not
/// @return the layout with which a texture of this format is defined
ImageLayout ColorLayoutOf(GLenum internalFormat);

/// Binds a texture to `GL_TEXTURE_2D`, gives it nearest filtering and, unless its size exceeds
/// `GL_MAX_TEXTURE_SIZE`, one level of storage.
void DefineTexture(GLuint texture, const ImageLayout& layout, Size size);

/// Saves the bindings that copies change, unbinds pixel pack and unpack buffer, and binds everything again at
/// the end of its scope. Objects made meanwhile must outlive it: they are bound until then.
class SavedBindings
{
public:
    SavedBindings();

    [[nodiscard]] GLuint DrawFramebuffer() const { return m_drawFramebuffer.Value(); }

private:
    SavedUnpackBuffer m_unpackBuffer;
    SavedPackBuffer m_packBuffer;
    SavedTextureUnit m_textureUnit;
    SavedTexture m_texture{GL_TEXTURE_2D, GL_TEXTURE_BINDING_2D};
    SavedDrawFramebuffer m_drawFramebuffer;
    SavedReadFramebuffer m_readFramebuffer;
};

/// A colour texture as the only attachment of a framebuffer object, both the library's own.
class ColorTarget
{
public:
    ColorTarget() = default;
    ColorTarget(const ColorTarget&) = delete;
    ColorTarget& operator=(const ColorTarget&) = delete;
    ~ColorTarget();

    /// Makes both, binds them and blits colour into them: the whole source onto the whole target.
    ///
    /// Errors that were pending are consumed. Texels that the source does not cover are transparent black.
    ///
    /// @param framebuffer  source
    /// @param readBuffer   of the source, whatever the application has selected there
    /// @param filter       `GL_NEAREST` or `GL_LINEAR`
    /// @return `GL_NO_ERROR`, or what the driver raised
    GLenum CopyFrom(GLuint framebuffer, GLenum readBuffer, Size sourceSize, const ImageLayout& layout,
                    Size size, GLenum filter);

    [[nodiscard]] GLuint Framebuffer() const { return m_framebuffer; }

private:
    GLuint m_framebuffer = 0;
    GLuint m_texture = 0;
};

/// @return whether the host has what these classes call
bool CanCopyColor();

} // namespace Util
