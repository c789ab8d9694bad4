#pragma once

#include "Util/GLDispatch.h"

#include <GLES2/gl2ext.h>

#include <array>
#include <cstddef>
#include <string_view>

/// Asking a context for its state, and saving what a capture changes of it: each class below notes one thing
/// when an object of it is made, and puts that back when the object ends. What is saved in a group is put
/// back in the reverse order of the members.
namespace Util {

/// @return the integer that GL reports for `name`; `preset` where the query fails
GLint GetInteger(GLenum name, GLint preset = 0);

/// @return whether the context has an extension, e.g. `"GL_EXT_clip_control"`
bool HasExtension(std::string_view name);

/// Takes away the errors that GL holds: there may be one of each kind.
///
/// @return the first; `GL_NO_ERROR` where there is none, and without `glGetError`
GLenum TakeError();

/// @return false where GL tells of no error whatever happens: in a context of `GL_KHR_no_error`, or where the
///         host has no `glGetError`
/// @note An error that is pending is consumed. Contexts tell of it from OpenGL ES 3.2 on; an earlier one may
///       be of that kind all the same.
bool CanReportErrors();

/// An integer of the context's state that `Set` sets.
template <GLenum Name, void (*Set)(GLint), GLint Preset = 0>
class SavedInteger
{
public:
    SavedInteger() = default;
    SavedInteger(const SavedInteger&) = delete;
    SavedInteger& operator=(const SavedInteger&) = delete;
    ~SavedInteger() { Set(m_value); }

    [[nodiscard]] GLuint Value() const { return static_cast<GLuint>(m_value); }

private:
    GLint m_value = GetInteger(Name, Preset);
};

/// @name How the integers are set
/// @{
template <GLenum Target>
void BindFramebuffer(GLint name)
{
    GL::BindFramebuffer(Target, static_cast<GLuint>(name));
}

template <GLenum Target>
void BindBuffer(GLint name)
{
    GL::BindBuffer(Target, static_cast<GLuint>(name));
}

template <GLenum Name>
void SetPixelStore(GLint value)
{
    GL::PixelStorei(Name, value);
}

template <GLenum Face>
void SetStencilMask(GLint mask)
{
    GL::StencilMaskSeparate(Face, static_cast<GLuint>(mask));
}

void BindRenderbuffer(GLint name);
void BindSamplerOfUnit0(GLint name);
void BindVertexArray(GLint name);
void SelectReadBuffer(GLint buffer);
void SelectTextureUnit(GLint unit);
/// @}

using SavedDrawFramebuffer = SavedInteger<GL_DRAW_FRAMEBUFFER_BINDING, BindFramebuffer<GL_DRAW_FRAMEBUFFER>>;
using SavedReadFramebuffer = SavedInteger<GL_READ_FRAMEBUFFER_BINDING, BindFramebuffer<GL_READ_FRAMEBUFFER>>;
using SavedRenderbuffer = SavedInteger<GL_RENDERBUFFER_BINDING, BindRenderbuffer>;
using SavedArrayBuffer = SavedInteger<GL_ARRAY_BUFFER_BINDING, BindBuffer<GL_ARRAY_BUFFER>>;
using SavedPackBuffer = SavedInteger<GL_PIXEL_PACK_BUFFER_BINDING, BindBuffer<GL_PIXEL_PACK_BUFFER>>;
using SavedUnpackBuffer = SavedInteger<GL_PIXEL_UNPACK_BUFFER_BINDING, BindBuffer<GL_PIXEL_UNPACK_BUFFER>>;
using SavedVertexArray = SavedInteger<GL_VERTEX_ARRAY_BINDING, BindVertexArray>;
using SavedTextureUnit = SavedInteger<GL_ACTIVE_TEXTURE, SelectTextureUnit, GL_TEXTURE0>;
using SavedStencilMaskFront = SavedInteger<GL_STENCIL_WRITEMASK, SetStencilMask<GL_FRONT>>;
using SavedStencilMaskBack = SavedInteger<GL_STENCIL_BACK_WRITEMASK, SetStencilMask<GL_BACK>>;

/// While unit 0 is active.
using SavedSamplerOfUnit0 = SavedInteger<GL_SAMPLER_BINDING, BindSamplerOfUnit0>;

/// Of the framebuffer bound for reading, which must be bound again when it ends.
using SavedReadBuffer = SavedInteger<GL_READ_BUFFER, SelectReadBuffer>;

/// @tparam Name  e.g. `GL_PACK_ROW_LENGTH`
template <GLenum Name, GLint Preset = 0>
using SavedPixelStore = SavedInteger<Name, SetPixelStore<Name>, Preset>;

/// What is bound to a target of the active texture unit, which must be active again when it ends.
class SavedTexture
{
public:
    /// @param binding  the query for it, e.g. `GL_TEXTURE_BINDING_2D`
    SavedTexture(GLenum target, GLenum binding) : m_target(target), m_name(GetInteger(binding)) {}
    SavedTexture(const SavedTexture&) = delete;
    SavedTexture& operator=(const SavedTexture&) = delete;
    ~SavedTexture() { GL::BindTexture(m_target, static_cast<GLuint>(m_name)); }

private:
    GLenum m_target;
    GLint m_name;
};

/// Selects a texture unit.
class SelectedTextureUnit
{
public:
    explicit SelectedTextureUnit(GLenum unit) { GL::ActiveTexture(unit); }

private:
    SavedTextureUnit m_saved;
};

class SavedViewport
{
public:
    SavedViewport() { GL::GetIntegerv(GL_VIEWPORT, m_box.data()); }
    SavedViewport(const SavedViewport&) = delete;
    SavedViewport& operator=(const SavedViewport&) = delete;
    ~SavedViewport() { GL::Viewport(m_box[0], m_box[1], m_box[2], m_box[3]); }

private:
    std::array<GLint, 4> m_box{};
};

class SavedColorMask
{
public:
    SavedColorMask() { GL::GetBooleanv(GL_COLOR_WRITEMASK, m_mask.data()); }
    SavedColorMask(const SavedColorMask&) = delete;
    SavedColorMask& operator=(const SavedColorMask&) = delete;
    ~SavedColorMask() { GL::ColorMask(m_mask[0], m_mask[1], m_mask[2], m_mask[3]); }

private:
    std::array<GLboolean, 4> m_mask{};
};

class SavedDepthMask
{
public:
    SavedDepthMask() { GL::GetBooleanv(GL_DEPTH_WRITEMASK, &m_mask); }
    SavedDepthMask(const SavedDepthMask&) = delete;
    SavedDepthMask& operator=(const SavedDepthMask&) = delete;
    ~SavedDepthMask() { GL::DepthMask(m_mask); }

private:
    GLboolean m_mask = GL_FALSE;
};

/// The program in use. One that was deleted while in use lives only as long as it stays in use: to use
/// another would end it.
class SavedProgram
{
public:
    SavedProgram() = default;
    SavedProgram(const SavedProgram&) = delete;
    SavedProgram& operator=(const SavedProgram&) = delete;
    ~SavedProgram();

    /// @return false where no other program may be used
    [[nodiscard]] bool MayChange() const;

private:
    GLint m_program = GetInteger(GL_CURRENT_PROGRAM);
};

/// Pauses a transform feedback. It can be resumed only while the program in use is the one that it was begun
/// with.
class PausedTransformFeedback
{
public:
    PausedTransformFeedback();
    PausedTransformFeedback(const PausedTransformFeedback&) = delete;
    PausedTransformFeedback& operator=(const PausedTransformFeedback&) = delete;
    ~PausedTransformFeedback();

private:
    bool m_wasRunning;
};

/// Turns capabilities off.
template <std::size_t Count>
class DisabledCapabilities
{
public:
    /// @param capabilities  e.g. `GL_SCISSOR_TEST`; one that the context does not know raises
    ///                      `GL_INVALID_ENUM`
    explicit DisabledCapabilities(const std::array<GLenum, Count>& capabilities)
        : m_capabilities(capabilities)
    {
        for (std::size_t i = 0; i < Count; ++i) {
            m_wasEnabled[i] = GL::IsEnabled(m_capabilities[i]) == GL_TRUE;
            if (m_wasEnabled[i]) {
                GL::Disable(m_capabilities[i]);
            }
        }
    }
    DisabledCapabilities(const DisabledCapabilities&) = delete;
    DisabledCapabilities& operator=(const DisabledCapabilities&) = delete;
    ~DisabledCapabilities()
    {
        for (std::size_t i = 0; i < Count; ++i) {
            if (m_wasEnabled[i]) {
                GL::Enable(m_capabilities[i]);
            }
        }
    }

private:
    std::array<GLenum, Count> m_capabilities;
    std::array<bool, Count> m_wasEnabled{};
};

/// Keeps errors that are raised in its scope, some of them on purpose, from the application: from its debug
/// callback, which may well abort on one, and from its `glGetError`. Those that were pending are consumed.
///
/// Does nothing where the host lacks an entry point for it.
class QuietErrors
{
public:
    QuietErrors();
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;
    ~QuietErrors();

private:
    bool m_turnsOn = false;
};

/// Makes blits encode what they write to an sRGB image, as they do unless `GL_EXT_sRGB_write_control` is in
/// use, until the end of its scope.
class EncodedSrgb
{
public:
    EncodedSrgb();
    EncodedSrgb(const EncodedSrgb&) = delete;
    EncodedSrgb& operator=(const EncodedSrgb&) = delete;
    ~EncodedSrgb();

private:
    bool m_wasOff;
};

/// Makes GL fill what it draws, as it does unless `GL_NV_polygon_mode` or `GL_ANGLE_polygon_mode` is in use,
/// until the end of its scope.
///
/// The function is in no dispatch table: the driver is asked for it.
class FilledPolygons
{
public:
    FilledPolygons();
    FilledPolygons(const FilledPolygons&) = delete;
    FilledPolygons& operator=(const FilledPolygons&) = delete;
    ~FilledPolygons();

    /// @return false where lines or points are drawn and the driver's function is not to be had
    [[nodiscard]] bool IsFilled() const { return m_mode == GL_FILL_NV || m_function; }

private:
    GLint m_mode = GL_FILL_NV;
    PFNGLPOLYGONMODENVPROC m_function = nullptr;
};

/// Makes `glReadPixels` begin with the bottom row, as it does unless `GL_ANGLE_pack_reverse_row_order` is in
/// use, until the end of its scope.
class BottomRowFirst
{
public:
    BottomRowFirst();
    BottomRowFirst(const BottomRowFirst&) = delete;
    BottomRowFirst& operator=(const BottomRowFirst&) = delete;
    ~BottomRowFirst();

private:
    bool m_wasReversed;
};

/// Makes `glReadPixels`, in the layout that it has now, write tightly packed rows.
void PackTightly();

/// Makes `glReadPixels` write tightly packed rows to client memory.
class PackedRead
{
public:
    PackedRead();

private:
    SavedPackBuffer m_buffer;
    SavedPixelStore<GL_PACK_SKIP_ROWS> m_skipRows;
    SavedPixelStore<GL_PACK_SKIP_PIXELS> m_skipPixels;
    SavedPixelStore<GL_PACK_ROW_LENGTH> m_rowLength;
    SavedPixelStore<GL_PACK_ALIGNMENT, 1> m_alignment;
    BottomRowFirst m_bottomRowFirst;
};

/// Selects a read buffer of the framebuffer now bound for reading, which must be bound again when it ends.
class SelectedReadBuffer
{
public:
    explicit SelectedReadBuffer(GLenum buffer) { GL::ReadBuffer(buffer); }

private:
    SavedReadBuffer m_saved;
};

/// @return the colour buffer that a framebuffer is read from unless somebody chose another
constexpr GLenum DefaultReadBuffer(GLuint framebuffer)
{
    return framebuffer == 0 ? GL_BACK : GL_COLOR_ATTACHMENT0;
}

} // namespace Util
