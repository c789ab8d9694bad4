#pragma once

#include "Util/GLDispatch.h"

#include <string>

namespace Util {

/// One attachment of the framebuffer object bound for drawing, or the window surface. What could not be had
/// is 0.
struct Attachment
{
    GLint objectType = 0; ///< `GL_TEXTURE`, `GL_RENDERBUFFER` or `GL_NONE`
    GLint objectName = 0;

    // Of a texture.
    GLint level = 0;
    GLint cubeMapFace = 0;
    GLint layer = 0;
    GLint baseViewIndex = 0; ///< `GL_OVR_multiview`
    GLint numViews = 0;
    GLenum target = 0; ///< target of the texture; of a cube map, the face

    GLint width = 0;
    GLint height = 0;
    GLint redSize = 0;
    GLint greenSize = 0;
    GLint blueSize = 0;
    GLint alphaSize = 0;
    GLint redType = 0; ///< of a texture, e.g. `GL_FLOAT`
    GLint depthSize = 0;
    GLint stencilSize = 0;
    GLint internalFormat = 0;
    GLint samples = 0;

    /// A texture that is there, but of a kind that could not be told: it cannot be captured.
    bool isUntold = false;

    /// What the library reads as one image: of a layered texture with several views, which layer.
    [[nodiscard]] GLint ViewLayer() const { return layer > 0 ? layer : baseViewIndex; }
};

/// Whether to ask for the views of a `GL_OVR_multiview` attachment; a context without the extension answers
/// with `GL_INVALID_ENUM`.
enum class Views
{
    Ignore,
    Query
};

/// Describes an attachment of the framebuffer object bound for drawing.
///
/// GL does not tell the target of a texture; it is found by binding the name to each until one raises no
/// error. `GL_DEBUG_OUTPUT` is off meanwhile, and the errors are consumed. In a context that reports no
/// errors it is told only where the application has bound the texture. An object whose name has been deleted
/// is not bound, since that would make it anew; its values stay 0.
///
/// @param point  e.g. `GL_COLOR_ATTACHMENT0`
Attachment DescribeAttachment(GLenum point, Views views);

/// @param point  `GL_COLOR_ATTACHMENT0` + i
/// @return what its picture adds to the name of its file
std::string ColorSuffix(GLenum point);

/// Describes the window surface: the size of the surface current for drawing, 0 x 0 where there is none, and
/// the bits of the framebuffer bound for drawing, which must be 0. To ask for these without a surface may be
/// an error.
Attachment DescribeSurface();

/// @return whether the host has what `DescribeAttachment` calls
bool CanDescribeAttachments();

/// @return whether the host has what `DescribeSurface` calls
bool CanQuerySurface();

} // namespace Util
