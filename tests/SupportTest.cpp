#include "support/GLContext.h"
#include "support/GLState.h"

#include <GLES3/gl32.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace TestSupport;

TEST(GLState, TellsWhatChanged)
{
    const GLContext context({.debug = true});
    glStencilMask(127);
    const GLState before = GLState::Now();
    EXPECT_EQ(GLState::Now().ChangesSince(before), "");

    GLuint texture = 0;
    glGenTextures(1, &texture);
    glActiveTexture(GL_TEXTURE2);
    glBindTexture(GL_TEXTURE_2D_ARRAY, texture);
    glActiveTexture(GL_TEXTURE0);
    glStencilMaskSeparate(GL_BACK, 7);
    glReadBuffer(GL_NONE);
    glVertexAttribDivisor(1, 3);
    glEnable(GL_RASTERIZER_DISCARD);
    glPixelStorei(GL_PACK_ROW_LENGTH, 100);
    glEnable(0xFFFF);
    const std::string changes = GLState::Now().ChangesSince(before);
    for (const char* line :
         {"texture unit 2 GL_TEXTURE_2D_ARRAY: 0 -> 1\n", "GL_STENCIL_BACK_WRITEMASK: 127 -> 7\n",
          "framebuffer[0] GL_READ_BUFFER: 0x405 -> 0\n", "GL_RASTERIZER_DISCARD: 0 -> 1\n",
          "vertex array[0] attribute[1] GL_VERTEX_ATTRIB_ARRAY_DIVISOR: 0 -> 3\n",
          "GL_PACK_ROW_LENGTH: 0 -> 100\n", "textures:  -> 1\n", "pending error: 0 -> 0x500\n"}) {
        EXPECT_THAT(changes, testing::HasSubstr(line));
    }
}

} // namespace
