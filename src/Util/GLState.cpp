#include "Util/GLState.h"

namespace Util {

GLint GetInteger(GLenum name, GLint preset)
{
    GLint value = preset;
    GL::GetIntegerv(name, &value);
    return value;
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
