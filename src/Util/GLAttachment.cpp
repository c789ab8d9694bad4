#include "Util/GLAttachment.h"

#include "Util/GLState.h"
#include "Util/Logging.h"

#include <array>
#include <atomic>

namespace Util {

namespace {

struct TextureTarget
{
    GLenum target;
    GLenum binding;
    bool isMultisample;
};

constexpr TextureTarget CubeMap{GL_TEXTURE_CUBE_MAP, GL_TEXTURE_BINDING_CUBE_MAP, false};

/// In the order of the trials.
constexpr std::array<TextureTarget, 6> Candidates{{
    {GL_TEXTURE_2D, GL_TEXTURE_BINDING_2D, false},
    {GL_TEXTURE_2D_MULTISAMPLE, GL_TEXTURE_BINDING_2D_MULTISAMPLE, true},
    {GL_TEXTURE_3D, GL_TEXTURE_BINDING_3D, false},
    {GL_TEXTURE_2D_ARRAY, GL_TEXTURE_BINDING_2D_ARRAY, false},
    {GL_TEXTURE_2D_MULTISAMPLE_ARRAY, GL_TEXTURE_BINDING_2D_MULTISAMPLE_ARRAY, true},
    {GL_TEXTURE_CUBE_MAP_ARRAY, GL_TEXTURE_BINDING_CUBE_MAP_ARRAY, false},
}};

/// A value of an image: its query for a level of a texture, its query for a renderbuffer, its place. A query
/// of 0 is not made.
struct ImageQuery
{
    GLenum texture;
    GLenum renderbuffer;
    GLint Attachment::*value;
};

constexpr std::array<ImageQuery, 11> ImageQueries{{
    {GL_TEXTURE_WIDTH, GL_RENDERBUFFER_WIDTH, &Attachment::width},
    {GL_TEXTURE_HEIGHT, GL_RENDERBUFFER_HEIGHT, &Attachment::height},
    {GL_TEXTURE_RED_SIZE, GL_RENDERBUFFER_RED_SIZE, &Attachment::redSize},
    {GL_TEXTURE_GREEN_SIZE, GL_RENDERBUFFER_GREEN_SIZE, &Attachment::greenSize},
    {GL_TEXTURE_BLUE_SIZE, GL_RENDERBUFFER_BLUE_SIZE, &Attachment::blueSize},
    {GL_TEXTURE_ALPHA_SIZE, GL_RENDERBUFFER_ALPHA_SIZE, &Attachment::alphaSize},
    {GL_TEXTURE_RED_TYPE, 0, &Attachment::redType},
    {GL_TEXTURE_INTERNAL_FORMAT, GL_RENDERBUFFER_INTERNAL_FORMAT, &Attachment::internalFormat},
    {GL_TEXTURE_DEPTH_SIZE, GL_RENDERBUFFER_DEPTH_SIZE, &Attachment::depthSize},
    {GL_TEXTURE_STENCIL_SIZE, GL_RENDERBUFFER_STENCIL_SIZE, &Attachment::stencilSize},
    {GL_TEXTURE_SAMPLES, GL_RENDERBUFFER_SAMPLES, &Attachment::samples},
}};

void Forget(Attachment& attachment)
{
    for (const ImageQuery& query : ImageQueries) {
        attachment.*query.value = 0;
    }
}

/// Binds the texture to a target, asks, and binds what was there before.
///
/// @param image  target of the queries: `target` itself, or a face of the cube map
void QueryTexture(Attachment& attachment, const TextureTarget& target, GLenum image)
{
    const SavedTexture saved(target.target, target.binding);
    GL::BindTexture(target.target, static_cast<GLuint>(attachment.objectName));
    for (const ImageQuery& query : ImageQueries) {
        if (query.texture != GL_TEXTURE_SAMPLES || target.isMultisample) {
            GL::GetTexLevelParameteriv(image, attachment.level, query.texture, &(attachment.*query.value));
        }
    }
    attachment.target = image;
}

/// Tries the targets: to bind a texture to another than its own is an error.
void TryTextureTargets(Attachment& attachment)
{
    const QuietErrors quiet;
    for (const TextureTarget& candidate : Candidates) {
        Forget(attachment);
        QueryTexture(attachment, candidate, candidate.target);
        if (GL::GetError() == GL_NO_ERROR) {
            return;
        }
    }
    Forget(attachment);
}

/// Looks for the texture among what is bound to the texture units: for contexts in which no error tells of a
/// trial that failed.
///
/// @return false where it is bound to none
bool FindBoundTexture(Attachment& attachment)
{
    const SavedTextureUnit saved;
    const GLint units = GetInteger(GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS);
    for (GLint unit = 0; unit < units; ++unit) {
        GL::ActiveTexture(GL_TEXTURE0 + static_cast<GLuint>(unit));
        for (const TextureTarget& candidate : Candidates) {
            if (GetInteger(candidate.binding) == attachment.objectName) {
                QueryTexture(attachment, candidate, candidate.target);
                return true;
            }
        }
    }
    return false;
}

void LogUntoldTarget()
{
    static std::atomic<bool> s_isLogged{false};
    if (!s_isLogged.exchange(true)) {
        UTIL_LOG(Core::Log::LevelWarning,
                 "The context reports no errors, by which the kind of a texture is found "
                 "out: one that is attached but not bound is not captured");
    }
}

void DescribeTexture(GLenum point, Attachment& attachment, Views views)
{
    const auto ask = [point](GLenum name, GLint* value) {
        GL::GetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, point, name, value);
    };
    ask(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL, &attachment.level);
    ask(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_CUBE_MAP_FACE, &attachment.cubeMapFace);
    ask(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LAYER, &attachment.layer);
    const bool canTry = CanReportErrors();
    if (views == Views::Query && (canTry || HasExtension("GL_OVR_multiview"))) {
        const QuietErrors quiet;
        ask(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_BASE_VIEW_INDEX_OVR, &attachment.baseViewIndex);
        ask(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_NUM_VIEWS_OVR, &attachment.numViews);
    }

    if (!GL::IsTexture(static_cast<GLuint>(attachment.objectName))) {
        return;
    }
    if (attachment.cubeMapFace != 0) {
        QueryTexture(attachment, CubeMap, static_cast<GLenum>(attachment.cubeMapFace));
    } else if (canTry) {
        TryTextureTargets(attachment);
    } else if (!FindBoundTexture(attachment)) {
        attachment.isUntold = true;
        LogUntoldTarget();
    }
}

void DescribeRenderbuffer(Attachment& attachment)
{
    if (!GL::IsRenderbuffer(static_cast<GLuint>(attachment.objectName))) {
        return;
    }
    const SavedRenderbuffer saved;
    GL::BindRenderbuffer(GL_RENDERBUFFER, static_cast<GLuint>(attachment.objectName));
    for (const ImageQuery& query : ImageQueries) {
        if (query.renderbuffer != 0) {
            GL::GetRenderbufferParameteriv(GL_RENDERBUFFER, query.renderbuffer, &(attachment.*query.value));
        }
    }
}

} // namespace

Attachment DescribeAttachment(GLenum point, Views views)
{
    Attachment attachment;
    GL::GetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, point, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE,
                                            &attachment.objectType);
    GL::GetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, point, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME,
                                            &attachment.objectName);
    if (attachment.objectName == 0) {
        return attachment;
    }
    if (attachment.objectType == GL_TEXTURE) {
        DescribeTexture(point, attachment, views);
    } else if (attachment.objectType == GL_RENDERBUFFER) {
        DescribeRenderbuffer(attachment);
    }
    return attachment;
}

std::string ColorSuffix(GLenum point)
{
    return "_color" + std::to_string(static_cast<int>(point - GL_COLOR_ATTACHMENT0));
}

Attachment DescribeSurface()
{
    Attachment surface;
    const EGLDisplay display = EGL::GetCurrentDisplay();
    const EGLSurface current = EGL::GetCurrentSurface(EGL_DRAW);
    if (current != EGL_NO_SURFACE) {
        EGL::QuerySurface(display, current, EGL_WIDTH, &surface.width);
        EGL::QuerySurface(display, current, EGL_HEIGHT, &surface.height);
    }
    surface.redSize = GetInteger(GL_RED_BITS);
    surface.greenSize = GetInteger(GL_GREEN_BITS);
    surface.blueSize = GetInteger(GL_BLUE_BITS);
    surface.alphaSize = GetInteger(GL_ALPHA_BITS);
    surface.depthSize = GetInteger(GL_DEPTH_BITS);
    surface.stencilSize = GetInteger(GL_STENCIL_BITS);
    return surface;
}

bool CanDescribeAttachments()
{
    return HasEntryPoints(GL::GetIntegerv, GL::BindRenderbuffer, GL::BindTexture,
                          GL::GetFramebufferAttachmentParameteriv, GL::GetRenderbufferParameteriv,
                          GL::GetTexLevelParameteriv, GL::GetError, GL::IsEnabled, GL::Enable, GL::Disable,
                          GL::IsTexture, GL::IsRenderbuffer, GL::ActiveTexture);
}

bool CanQuerySurface()
{
    return HasEntryPoints(EGL::GetCurrentDisplay, EGL::GetCurrentSurface, EGL::QuerySurface, GL::GetIntegerv);
}

} // namespace Util
