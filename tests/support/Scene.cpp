#include "support/Scene.h"

#include <EGL/egl.h>
#include <GLES2/gl2ext.h>

#include <array>
#include <utility>

namespace TestSupport {

bool HasExtension(std::string_view name)
{
    GLint count = 0;
    glGetIntegerv(GL_NUM_EXTENSIONS, &count);
    for (GLint index = 0; index < count; ++index) {
        if (name == reinterpret_cast<const char*>(glGetStringi(GL_EXTENSIONS, static_cast<GLuint>(index)))) {
            return true;
        }
    }
    return false;
}

GLuint NewTexture(GLenum target)
{
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(target, texture);
    return texture;
}

GLuint NewFramebuffer()
{
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    return framebuffer;
}

Source Texture2D(GLenum format, int level, Extent size)
{
    return {"2D texture, level " + std::to_string(level), size.width, size.height, [=](GLenum point) {
                const GLuint texture = NewTexture(GL_TEXTURE_2D);
                glTexStorage2D(GL_TEXTURE_2D, level + 1, format, size.width << level, size.height << level);
                glFramebufferTexture2D(GL_FRAMEBUFFER, point, GL_TEXTURE_2D, texture, level);
            }};
}

Source CubeFace(GLenum format)
{
    return {"cube face", SourceWidth, SourceWidth, [=](GLenum point) {
                const GLuint texture = NewTexture(GL_TEXTURE_CUBE_MAP);
                glTexStorage2D(GL_TEXTURE_CUBE_MAP, 1, format, SourceWidth, SourceWidth);
                glFramebufferTexture2D(GL_FRAMEBUFFER, point, GL_TEXTURE_CUBE_MAP_NEGATIVE_Y, texture, 0);
            }};
}

Source Layer(GLenum target, GLenum format, int layer)
{
    const bool isCube = target == GL_TEXTURE_CUBE_MAP_ARRAY;
    const std::string name = isCube ? "cube map array" : target == GL_TEXTURE_3D ? "3D texture" : "2D array";
    const int height = isCube ? SourceWidth : SourceHeight;
    return {name + ", layer " + std::to_string(layer), SourceWidth, height, [=](GLenum point) {
                const GLuint texture = NewTexture(target);
                glTexStorage3D(target, 1, format, SourceWidth, height, isCube ? 12 : 4);
                glFramebufferTextureLayer(GL_FRAMEBUFFER, point, texture, 0, layer);
            }};
}

Source Renderbuffer(GLenum format, int samples, Extent size)
{
    return {"renderbuffer, samples " + std::to_string(samples), size.width, size.height, [=](GLenum point) {
                GLuint renderbuffer = 0;
                glGenRenderbuffers(1, &renderbuffer);
                glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
                glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples, format, size.width, size.height);
                glFramebufferRenderbuffer(GL_FRAMEBUFFER, point, GL_RENDERBUFFER, renderbuffer);
            }};
}

Source MultisampleTexture(GLenum format, int samples)
{
    return {"multisample texture", SourceWidth, SourceHeight, [=](GLenum point) {
                const GLuint texture = NewTexture(GL_TEXTURE_2D_MULTISAMPLE);
                glTexStorage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, samples, format, SourceWidth,
                                          SourceHeight, GL_TRUE);
                glFramebufferTexture2D(GL_FRAMEBUFFER, point, GL_TEXTURE_2D_MULTISAMPLE, texture, 0);
            }};
}

Source MultisampleLayer(GLenum format, int samples, int layer)
{
    return {"multisample array, layer " + std::to_string(layer), SourceWidth, SourceHeight,
            [=](GLenum point) {
                constexpr GLenum Target = GL_TEXTURE_2D_MULTISAMPLE_ARRAY;
                const GLuint texture = NewTexture(Target);
                glTexStorage3DMultisample(Target, samples, format, SourceWidth, SourceHeight, 4, GL_TRUE);
                glFramebufferTextureLayer(GL_FRAMEBUFFER, point, texture, 0, layer);
            }};
}

void AttachViews(GLenum point, int baseView)
{
    GLint texture = 0;
    glGetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, point, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME,
                                          &texture);
    if (!HasExtension("GL_OVR_multiview")) {
        glFramebufferTextureLayer(GL_DRAW_FRAMEBUFFER, point, static_cast<GLuint>(texture), 0, 1);
        return;
    }
    const auto attach = reinterpret_cast<PFNGLFRAMEBUFFERTEXTUREMULTIVIEWOVRPROC>(
        eglGetProcAddress("glFramebufferTextureMultiviewOVR"));
    attach(GL_DRAW_FRAMEBUFFER, point, static_cast<GLuint>(texture), 0, baseView, 2);
}

void DeleteWhatIsBound()
{
    const auto bound = [](GLenum name) {
        GLint value = 0;
        glGetIntegerv(name, &value);
        return static_cast<GLuint>(value);
    };
    const GLuint framebuffer = bound(GL_FRAMEBUFFER_BINDING);
    const GLuint texture = bound(GL_TEXTURE_BINDING_2D);
    const GLuint renderbuffer = bound(GL_RENDERBUFFER_BINDING);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteTextures(1, &texture);
    glDeleteRenderbuffers(1, &renderbuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
}

namespace {

/// Uses a program that a transform feedback captures.
void UseCapturedProgram()
{
    constexpr auto VertexShader = R"(#version 300 es
out float captured;
void main() { captured = 1.0; gl_Position = vec4(0.0); gl_PointSize = 1.0; }
)";
    constexpr auto FragmentShader = R"(#version 300 es
precision mediump float;
out vec4 color;
void main() { color = vec4(1.0); }
)";
    const GLuint program = glCreateProgram();
    for (const auto& [type, text] :
         {std::pair{GL_VERTEX_SHADER, VertexShader}, std::pair{GL_FRAGMENT_SHADER, FragmentShader}}) {
        const GLuint shader = glCreateShader(static_cast<GLenum>(type));
        glShaderSource(shader, 1, &text, nullptr);
        glCompileShader(shader);
        glAttachShader(program, shader);
    }
    constexpr auto Varying = "captured";
    glTransformFeedbackVaryings(program, 1, &Varying, GL_INTERLEAVED_ATTRIBS);
    glLinkProgram(program);
    glUseProgram(program);
}

/// Begins the transform feedback, and binds buffers and vertex arrays.
void BindBuffers()
{
    std::array<GLuint, 4> buffers{};
    glGenBuffers(4, buffers.data());
    glBindBufferBase(GL_TRANSFORM_FEEDBACK_BUFFER, 0, buffers[0]);
    glBufferData(GL_TRANSFORM_FEEDBACK_BUFFER, 1024, nullptr, GL_STREAM_READ);
    glBeginTransformFeedback(GL_POINTS);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, buffers[1]);
    glBufferData(GL_PIXEL_PACK_BUFFER, 64, nullptr, GL_STREAM_READ);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffers[2]);
    glBufferData(GL_PIXEL_UNPACK_BUFFER, 64, nullptr, GL_STREAM_DRAW);
    glBindBuffer(GL_ARRAY_BUFFER, buffers[3]);

    // Vertex array 0, with what glVertexAttribPointer could not bring back.
    glBufferData(GL_ARRAY_BUFFER, 64, nullptr, GL_STATIC_DRAW);
    glVertexAttribIPointer(0, 3, GL_SHORT, 16, reinterpret_cast<const void*>(8));
    glVertexAttribDivisor(0, 5);
    glEnableVertexAttribArray(1);
    GLuint vertexArray = 0;
    glGenVertexArrays(1, &vertexArray);
    glBindVertexArray(vertexArray);
    glEnableVertexAttribArray(2);
}

void BendPixelTransfers()
{
    glPixelStorei(GL_PACK_ALIGNMENT, 8);
    glPixelStorei(GL_PACK_ROW_LENGTH, 1000);
    glPixelStorei(GL_PACK_SKIP_ROWS, 3);
    glPixelStorei(GL_PACK_SKIP_PIXELS, 5);
    if (HasExtension("GL_ANGLE_pack_reverse_row_order")) {
        glPixelStorei(GL_PACK_REVERSE_ROW_ORDER_ANGLE, GL_TRUE);
    }
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 7);
}

void BindSamplerAndTexture()
{
    GLuint sampler = 0;
    glGenSamplers(1, &sampler);
    glSamplerParameteri(sampler, GL_TEXTURE_COMPARE_MODE, GL_COMPARE_REF_TO_TEXTURE);
    glSamplerParameteri(sampler, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    glBindSampler(0, sampler);
    glActiveTexture(GL_TEXTURE3);
    NewTexture(GL_TEXTURE_2D);
}

/// Lets no pixel through, and turns clip space upside down.
void BendDrawing()
{
    glEnable(GL_SCISSOR_TEST);
    glScissor(1, 1, 2, 2);
    glViewport(3, 4, 5, 6);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_NEVER);
    glEnable(GL_STENCIL_TEST);
    glStencilFunc(GL_NEVER, 1, 0xFF);
    glStencilMaskSeparate(GL_FRONT, 0x0F);
    glStencilMaskSeparate(GL_BACK, 0xA0);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_FRONT_AND_BACK);
    glEnable(GL_BLEND);
    glBlendFunc(GL_ZERO, GL_ZERO);
    glEnable(GL_RASTERIZER_DISCARD);
    glEnable(GL_SAMPLE_COVERAGE);
    glSampleCoverage(0.0F, GL_FALSE);
    glEnable(GL_SAMPLE_MASK);
    glSampleMaski(0, 0);
    glEnable(GL_SAMPLE_ALPHA_TO_COVERAGE);
    glColorMask(GL_FALSE, GL_TRUE, GL_FALSE, GL_TRUE);
    glDepthMask(GL_FALSE);
    const auto clipControl = reinterpret_cast<PFNGLCLIPCONTROLEXTPROC>(eglGetProcAddress("glClipControlEXT"));
    clipControl(GL_UPPER_LEFT_EXT, GL_ZERO_TO_ONE_EXT);
}

} // namespace

void MakeStateHostile()
{
    UseCapturedProgram();
    BindBuffers();
    BendPixelTransfers();
    BindSamplerAndTexture();
    BendDrawing();
    glReadBuffer(GL_NONE);
}

} // namespace TestSupport
