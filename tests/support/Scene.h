#pragma once

#include <GLES3/gl32.h>

#include <functional>
#include <string>
#include <string_view>

namespace TestSupport {

/// An image to attach to the framebuffer bound: `attach` makes storage and attaches one level, face or layer
/// of it.
struct Source
{
    std::string name;
    int width;
    int height;
    std::function<void(GLenum point)> attach;
};

constexpr int SourceWidth = 64;
constexpr int SourceHeight = 48;

struct Extent
{
    int width = SourceWidth;
    int height = SourceHeight;
};

/// @return whether the context has an extension, e.g. `"GL_OVR_multiview"`
bool HasExtension(std::string_view name);

/// @return a new texture, bound to `target`
GLuint NewTexture(GLenum target);

/// Makes a framebuffer object and binds it for drawing and reading.
GLuint NewFramebuffer();

Source Texture2D(GLenum format, int level, Extent size = {});
Source CubeFace(GLenum format);

/// @param target  `GL_TEXTURE_3D`, `GL_TEXTURE_2D_ARRAY` or `GL_TEXTURE_CUBE_MAP_ARRAY`
Source Layer(GLenum target, GLenum format, int layer);

/// @param samples  0 for one that is not multisampled
Source Renderbuffer(GLenum format, int samples = 0, Extent size = {});
Source MultisampleTexture(GLenum format, int samples);
Source MultisampleLayer(GLenum format, int samples, int layer);

/// Attaches two views of `GL_OVR_multiview`, from `baseView` on, of the array of which a layer is attached.
/// Draw before: Mesa 25 crashes on a clear of several views. Without the extension, layer 1 alone.
void AttachViews(GLenum point, int baseView);

/// Deletes the 2D texture and the renderbuffer that are bound while another framebuffer object is: what is
/// attached of them lives on, their names do not, and binding a name would make a new object of it.
void DeleteWhatIsBound();

/// Turns everything against a capture that an application could have left behind: pack state, samplers,
/// masks, tests, an active transform feedback, attributes that cannot be set anew, a read buffer of nothing.
///
/// A transform feedback is left active.
void MakeStateHostile();

} // namespace TestSupport
