#include "Util/GLState.h"

namespace Util {

GLint GetInteger(GLenum name, GLint preset)
{
    GLint value = preset;
    GL::GetIntegerv(name, &value);
    return value;
}

bool HasExtension(std::string_view name)
{
    const auto* const list = GL::GetString.IsMissing() ? nullptr : GL::GetString(GL_EXTENSIONS);
    std::string_view names = list ? reinterpret_cast<const char*>(list) : "";
    while (!names.empty()) {
        const std::size_t end = std::min(names.find(' '), names.size() - 1);
        if (names.substr(0, names.find(' ')) == name) {
            return true;
        }
        names.remove_prefix(end + 1);
    }
    return false;
}

GLenum TakeError()
{
    const GLenum first = GL::GetError.IsMissing() ? GLenum{GL_NO_ERROR} : GL::GetError();
    // There is one for each kind at most, except that a lost context may tell of it without end.
    for (int i = 0; i < 8 && first != GL_NO_ERROR && GL::GetError() != GL_NO_ERROR; ++i) {
    }
    return first;
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

void BindRenderbuffer(GLint name)
{
    GL::BindRenderbuffer(GL_RENDERBUFFER, static_cast<GLuint>(name));
}

void BindSamplerOfUnit0(GLint name)
{
    GL::BindSampler(0U, static_cast<GLuint>(name));
}

void BindVertexArray(GLint name)
{
    GL::BindVertexArray(static_cast<GLuint>(name));
}

void SelectReadBuffer(GLint buffer)
{
    GL::ReadBuffer(static_cast<GLenum>(buffer));
}

void SelectTextureUnit(GLint unit)
{
    GL::ActiveTexture(static_cast<GLenum>(unit));
}

SavedProgram::~SavedProgram()
{
    if (MayChange()) {
        GL::UseProgram(static_cast<GLuint>(m_program));
    }
}

bool SavedProgram::MayChange() const
{
    GLint isDeleted = GL_FALSE;
    if (m_program != 0) {
        GL::GetProgramiv(static_cast<GLuint>(m_program), GL_DELETE_STATUS, &isDeleted);
    }
    return isDeleted == GL_FALSE;
}

PausedTransformFeedback::PausedTransformFeedback()
    : m_wasRunning(GetInteger(GL_TRANSFORM_FEEDBACK_ACTIVE) != 0 &&
                   GetInteger(GL_TRANSFORM_FEEDBACK_PAUSED) == 0)
{
    if (m_wasRunning) {
        GL::PauseTransformFeedback();
    }
}

PausedTransformFeedback::~PausedTransformFeedback()
{
    if (m_wasRunning) {
        GL::ResumeTransformFeedback();
    }
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

void PackTightly()
{
    GL::PixelStorei(GL_PACK_ALIGNMENT, 1);
    GL::PixelStorei(GL_PACK_ROW_LENGTH, 0);
    GL::PixelStorei(GL_PACK_SKIP_PIXELS, 0);
    GL::PixelStorei(GL_PACK_SKIP_ROWS, 0);
}

PackedRead::PackedRead()
{
    GL::BindBuffer(GL_PIXEL_PACK_BUFFER, 0U);
    PackTightly();
}

} // namespace Util
