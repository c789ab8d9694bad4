#include "Util/GLAttachment.h"

#include "Util/GLState.h"

#include <GLES2/gl2ext.h>

#include <array>

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
constexpr std::array<TextureTarget, 5> Candidates{{
    {GL_TEXTURE_2D, GL_TEXTURE_BINDING_2D, false},
    {GL_TEXTURE_2D_MULTISAMPLE, GL_TEXTURE_BINDING_2D_MULTISAMPLE, true},
    {GL_TEXTURE_3D, GL_TEXTURE_BINDING_3D, false},
    {GL_TEXTURE_2D_ARRAY, GL_TEXTURE_BINDING_2D_ARRAY, false},
    {GL_TEXTURE_2D_MULTISAMPLE_ARRAY, GL_TEXTURE_BINDING_2D_MULTISAMPLE_ARRAY, true},
}};

void Forget(Attachment& attachment, std::span<const ImageQuery> queries)
{
    for (const ImageQuery& query : queries) {
        attachment.*query.value = 0;
    }
}

/// Binds the texture to a target, asks, and binds what was there before.
///
/// @param image  target of the queries: `target` itself, or a face of the cube map
void QueryTexture(Attachment& attachment, const TextureTarget& target, GLenum image,
                  std::span<const ImageQuery> queries)
{
    const GLint saved = GetInteger(target.binding);
    GL::BindTexture(target.target, static_cast<GLuint>(attachment.objectName));
    for (const ImageQuery& query : queries) {
        const bool isAsked = query.texture != GL_TEXTURE_SAMPLES || target.isMultisample;
        if (query.texture != 0 && isAsked) {
            GL::GetTexLevelParameteriv(image, attachment.level, query.texture, &(attachment.*query.value));
        }
    }
    GL::BindTexture(target.target, static_cast<GLuint>(saved));
    attachment.target = image;
}

void FindTextureTarget(Attachment& attachment, std::span<const ImageQuery> queries)
{
    const QuietErrors quiet;
    for (const TextureTarget& candidate : Candidates) {
        Forget(attachment, queries);
        QueryTexture(attachment, candidate, candidate.target, queries);
        if (GL::GetError() == GL_NO_ERROR) {
            return;
        }
    }
    Forget(attachment, queries);
}

void DescribeTexture(GLenum point, Attachment& attachment, std::span<const ImageQuery> queries, Views views)
{
    const auto ask = [point](GLenum name, GLint* value) {
        GL::GetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, point, name, value);
    };
    ask(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL, &attachment.level);
    ask(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_CUBE_MAP_FACE, &attachment.cubeMapFace);
    ask(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LAYER, &attachment.layer);
    if (views == Views::Query) {
        const QuietErrors quiet;
        ask(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_BASE_VIEW_INDEX_OVR, &attachment.baseViewIndex);
        ask(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_NUM_VIEWS_OVR, &attachment.numViews);
    }

    if (!GL::IsTexture(static_cast<GLuint>(attachment.objectName))) {
        return;
    }
    if (attachment.cubeMapFace != 0) {
        QueryTexture(attachment, CubeMap, static_cast<GLenum>(attachment.cubeMapFace), queries);
    } else {
        FindTextureTarget(attachment, queries);
    }
}

void DescribeRenderbuffer(Attachment& attachment, std::span<const ImageQuery> queries)
{
    if (!GL::IsRenderbuffer(static_cast<GLuint>(attachment.objectName))) {
        return;
    }
    const GLint saved = GetInteger(GL_RENDERBUFFER_BINDING);
    GL::BindRenderbuffer(GL_RENDERBUFFER, static_cast<GLuint>(attachment.objectName));
    for (const ImageQuery& query : queries) {
        if (query.renderbuffer != 0) {
            GL::GetRenderbufferParameteriv(GL_RENDERBUFFER, query.renderbuffer, &(attachment.*query.value));
        }
    }
    GL::BindRenderbuffer(GL_RENDERBUFFER, static_cast<GLuint>(saved));
}

} // namespace

Attachment DescribeAttachment(GLenum point, std::span<const ImageQuery> queries, Views views)
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
        DescribeTexture(point, attachment, queries, views);
    } else if (attachment.objectType == GL_RENDERBUFFER) {
        DescribeRenderbuffer(attachment, queries);
    }
    return attachment;
}

Size QuerySurfaceSize()
{
    Size size{};
    const EGLDisplay display = EGL::GetCurrentDisplay();
    const EGLSurface surface = EGL::GetCurrentSurface(EGL_DRAW);
    if (surface != EGL_NO_SURFACE) {
        EGL::QuerySurface(display, surface, EGL_WIDTH, &size.width);
        EGL::QuerySurface(display, surface, EGL_HEIGHT, &size.height);
    }
    return size;
}

bool CanDescribeAttachments()
{
    return HasEntryPoints(GL::GetIntegerv, GL::BindRenderbuffer, GL::BindTexture,
                          GL::GetFramebufferAttachmentParameteriv, GL::GetRenderbufferParameteriv,
                          GL::GetTexLevelParameteriv, GL::GetError, GL::IsEnabled, GL::Enable, GL::Disable,
                          GL::IsTexture, GL::IsRenderbuffer);
}

bool CanQuerySurface()
{
    return HasEntryPoints(EGL::GetCurrentDisplay, EGL::GetCurrentSurface, EGL::QuerySurface, GL::GetIntegerv);
}

} // namespace Util
