#include "Util/GLState.h"

namespace Util {

GLint GetInteger(GLenum name, GLint preset)
{
    GLint value = preset;
    GL::GetIntegerv(name, &value);
    return value;
}

GLenum TakeError()
{
    return GL::GetError.IsMissing() ? GLenum{GL_NO_ERROR} : GL::GetError();
}

bool CanReportErrors()
{
    if (GL::GetError.IsMissing()) {
        return false;
    }
    const GLint flags = GetInteger(GL_CONTEXT_FLAGS);
    TakeError(); // a context that knows no flags
    return (flags & GL_CONTEXT_FLAG_NO_ERROR_BIT_KHR) == 0;
}

QuietErrors::QuietErrors()
{
    // A context without debug output answers the query with an error, which is taken away with the others.
    if (HasEntryPoints(GL::IsEnabled, GL::Disable, GL::Enable)) {
        m_turnsOn = GL::IsEnabled(GL_DEBUG_OUTPUT) == GL_TRUE;
    }
    if (m_turnsOn) {
        GL::Disable(GL_DEBUG_OUTPUT);
    }
    TakeError();
}

QuietErrors::~QuietErrors()
{
    if (m_turnsOn) {
        GL::Enable(GL_DEBUG_OUTPUT);
    }
    TakeError();
}

bool HasExtension(std::string_view name)
{
    const auto* const names = GL::GetString.IsMissing() ? nullptr : GL::GetString(GL_EXTENSIONS);
    return names &&
           std::string_view(reinterpret_cast<const char*>(names)).find(name) != std::string_view::npos;
}

EncodedSrgb::EncodedSrgb()
    : m_wasOff(HasExtension("GL_EXT_sRGB_write_control") &&
               GL::IsEnabled(GL_FRAMEBUFFER_SRGB_EXT) == GL_FALSE)
{
    if (m_wasOff) {
        GL::Enable(GL_FRAMEBUFFER_SRGB_EXT);
    }
}

EncodedSrgb::~EncodedSrgb()
{
    if (m_wasOff) {
        GL::Disable(GL_FRAMEBUFFER_SRGB_EXT);
    }
}

FilledPolygons::FilledPolygons()
{
    const char* const name = HasExtension("GL_NV_polygon_mode")      ? "glPolygonModeNV"
                             : HasExtension("GL_ANGLE_polygon_mode") ? "glPolygonModeANGLE"
                                                                     : nullptr;
    if (!name) {
        return;
    }
    m_mode = GetInteger(GL_POLYGON_MODE_NV, GL_FILL_NV); // both extensions have the same values
    if (m_mode != GL_FILL_NV && HasEntryPoints(EGL::GetProcAddress)) {
        m_function = reinterpret_cast<PFNGLPOLYGONMODENVPROC>(EGL::GetProcAddress(name));
    }
    if (m_function) {
        m_function(GL_FRONT_AND_BACK, GL_FILL_NV);
    }
}

FilledPolygons::~FilledPolygons()
{
    if (m_function) {
        m_function(GL_FRONT_AND_BACK, static_cast<GLenum>(m_mode));
    }
}

BottomRowFirst::BottomRowFirst()
    : m_wasReversed(HasExtension("GL_ANGLE_pack_reverse_row_order") &&
                    GetInteger(GL_PACK_REVERSE_ROW_ORDER_ANGLE) != GL_FALSE)
{
    if (m_wasReversed) {
        GL::PixelStorei(GL_PACK_REVERSE_ROW_ORDER_ANGLE, GL_FALSE);
    }
}

BottomRowFirst::~BottomRowFirst()
{
    if (m_wasReversed) {
        GL::PixelStorei(GL_PACK_REVERSE_ROW_ORDER_ANGLE, GL_TRUE);
    }
}

PackedRead::PackedRead()
    : m_packBuffer(GetInteger(GL_PIXEL_PACK_BUFFER_BINDING)), m_alignment(GetInteger(GL_PACK_ALIGNMENT, 1)),
      m_rowLength(GetInteger(GL_PACK_ROW_LENGTH)), m_skipPixels(GetInteger(GL_PACK_SKIP_PIXELS)),
      m_skipRows(GetInteger(GL_PACK_SKIP_ROWS))
{
    GL::BindBuffer(GL_PIXEL_PACK_BUFFER, 0U);
    GL::PixelStorei(GL_PACK_ALIGNMENT, 1);
    GL::PixelStorei(GL_PACK_ROW_LENGTH, 0);
    GL::PixelStorei(GL_PACK_SKIP_PIXELS, 0);
    GL::PixelStorei(GL_PACK_SKIP_ROWS, 0);
}

PackedRead::~PackedRead()
{
    GL::PixelStorei(GL_PACK_ALIGNMENT, m_alignment);
    GL::PixelStorei(GL_PACK_ROW_LENGTH, m_rowLength);
    GL::PixelStorei(GL_PACK_SKIP_PIXELS, m_skipPixels);
    GL::PixelStorei(GL_PACK_SKIP_ROWS, m_skipRows);
    GL::BindBuffer(GL_PIXEL_PACK_BUFFER, static_cast<GLuint>(m_packBuffer));
}

SelectedReadBuffer::SelectedReadBuffer(GLenum buffer) : m_saved(GetInteger(GL_READ_BUFFER))
{
    GL::ReadBuffer(buffer);
}

SelectedReadBuffer::~SelectedReadBuffer()
{
    GL::ReadBuffer(static_cast<GLenum>(m_saved));
}

} // namespace Util
