#pragma once

#include "Util/GLDispatch.h"

#include <GLES2/gl2ext.h>

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace Util {

/// @return the integer that GL reports for `name`; `preset` where the query fails
GLint GetInteger(GLenum name, GLint preset = 0);

/// Turns capabilities off and, at the end of its scope, those that were on back on.
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

/// @return the error that GL holds, which it then holds no more; `GL_NO_ERROR` without `glGetError`
GLenum TakeError();

/// @return false where GL tells of no error whatever happens: in a context of `GL_KHR_no_error`, or where the
///         host has no `glGetError`
/// @note An error that is pending is consumed. Contexts tell of it from OpenGL ES 3.2 on; an earlier one may
///       be of that kind all the same.
bool CanReportErrors();

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

/// @return whether the context has an extension, e.g. `"GL_EXT_clip_control"`
bool HasExtension(std::string_view name);

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

/// Makes `glReadPixels` write tightly packed rows to client memory, and puts the application's pack state
/// back at the end of its scope.
class PackedRead
{
public:
    PackedRead();
    PackedRead(const PackedRead&) = delete;
    PackedRead& operator=(const PackedRead&) = delete;
    ~PackedRead();

private:
    GLint m_packBuffer;
    GLint m_alignment;
    GLint m_rowLength;
    GLint m_skipPixels;
    GLint m_skipRows;
    BottomRowFirst m_bottomRowFirst;
};

/// Selects the active texture unit again at the end of its scope.
class SavedTextureUnit
{
public:
    SavedTextureUnit() : m_unit(GetInteger(GL_ACTIVE_TEXTURE, GL_TEXTURE0)) {}
    SavedTextureUnit(const SavedTextureUnit&) = delete;
    SavedTextureUnit& operator=(const SavedTextureUnit&) = delete;
    ~SavedTextureUnit() { GL::ActiveTexture(static_cast<GLenum>(m_unit)); }

private:
    GLint m_unit;
};

/// Selects a read buffer of the framebuffer now bound for reading; at the end of its scope, while the same
/// one is bound, the one selected before.
class SelectedReadBuffer
{
public:
    explicit SelectedReadBuffer(GLenum buffer);
    SelectedReadBuffer(const SelectedReadBuffer&) = delete;
    SelectedReadBuffer& operator=(const SelectedReadBuffer&) = delete;
    ~SelectedReadBuffer();

private:
    GLint m_saved;
};

/// @return the colour buffer that a framebuffer is read from unless somebody chose another
constexpr GLenum DefaultReadBuffer(GLint framebuffer)
{
    return framebuffer == 0 ? GL_BACK : GL_COLOR_ATTACHMENT0;
}

} // namespace Util
