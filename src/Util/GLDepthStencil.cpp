#include "Util/GLDepthStencil.h"

#include "Util/GLDepthStencilCopy.h"
#include "Util/GLDispatch.h"
#include "Util/GLUtils.h"
#include "Util/Logging.h"

#include <algorithm>
#include <array>

namespace Util {

namespace {

/// With 16-bit floats a texture coordinate cannot address more than about a thousand columns: the depth pair
/// asks for high precision wherever the fragment stage has it.
constexpr ShaderPair DepthShaders{
    R"(attribute vec4 position;
attribute vec2 in_texcoord;
varying vec2 texcoord;
void main()
{
    gl_Position = position;
    texcoord = in_texcoord;
}
)",
    R"(#ifdef GL_FRAGMENT_PRECISION_HIGH
precision highp float;
#else
precision mediump float;
#endif
varying vec2 texcoord;
uniform sampler2D tex;
void main()
{
    gl_FragColor = texture2D(tex, texcoord).rrra;
}
)"};

/// Stencil values are unsigned integers; OpenGL ES 3.1, section 14.2.6, leaves what a float sampler makes of
/// them undefined.
constexpr ShaderPair StencilShaders{QuadVertexShader,
                                    R"(#version 300 es
precision highp float;
in vec2 texcoord;
uniform highp usampler2D tex;
out vec4 color;
void main()
{
    float value = float(texture(tex, texcoord).r) / 255.0;
    color = vec4(value, value, value, 1.0);
}
)"};

void FillOpaqueBlack(std::uint8_t* pixels, Size size)
{
    const std::size_t count = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
    constexpr std::array<std::uint8_t, 4> OpaqueBlack{0, 0, 0, 255};
    for (std::size_t i = 0; i < count; ++i) {
        std::copy(OpaqueBlack.begin(), OpaqueBlack.end(), pixels + i * OpaqueBlack.size());
    }
}

} // namespace

ImageLayout CopyLayoutOf(Component component, const Attachment& image)
{
    const auto internalFormat = static_cast<GLenum>(image.internalFormat);
    if (internalFormat != 0 && !IsUnsizedInternalFormat(internalFormat)) {
        return LayoutOf(internalFormat, GL_UNSIGNED_INT);
    }
    ImageLayout layout{};
    const auto choose = [&](GLint stencilBits) {
        GetDepthStencilFormatType(image.depthSize, stencilBits, &layout.internalFormat, &layout.format,
                                  &layout.type);
        return layout.internalFormat != 0;
    };
    // Depth can be copied without the stencil beside it.
    const bool isFound = choose(image.stencilSize) || (component == Component::Depth && choose(0));
    return isFound ? layout : ImageLayout{internalFormat, internalFormat, GL_UNSIGNED_INT};
}

bool CanReadDepthStencil()
{
    // Hosts count on a status of 1 where one of the first list is missing, so those stay in it that nothing
    // here calls any more. The second list is what is called besides.
    return HasEntryPoints(
               GL::GetIntegerv, GL::BindBuffer, GL::GenTextures, GL::BindTexture, GL::TexParameteri,
               GL::TexImage2D, GL::FramebufferTexture2D, GL::BindFramebuffer, GL::GenFramebuffers,
               GL::IsEnabled, GL::GetBooleanv, GL::Disable, GL::ColorMask, GL::DepthMask, GL::StencilMask,
               GL::ReadBuffer, GL::ReadPixels, GL::BlitFramebuffer, GL::CreateShader, GL::CreateProgram,
               GL::ShaderSource, GL::CompileShader, GL::AttachShader, GL::LinkProgram, GL::GetAttribLocation,
               GL::GetVertexAttribiv, GL::VertexAttribPointer, GL::EnableVertexAttribArray, GL::Uniform1i,
               GL::UseProgram, GL::DrawArrays, GL::PixelStorei, GL::DisableVertexAttribArray, GL::Enable,
               GL::DeleteFramebuffers, GL::DeleteTextures, GL::DeleteProgram, GL::Viewport, GL::DeleteShader,
               GL::BindVertexArray, GL::ActiveTexture, GL::GetVertexAttribPointerv, GL::GetUniformLocation) &&
           HasEntryPoints(GL::BindSampler, GL::BufferData, GL::ClearBufferfv, GL::ClearBufferiv,
                          GL::DeleteBuffers, GL::DeleteVertexArrays, GL::GenBuffers, GL::GenVertexArrays,
                          GL::GetError, GL::GetProgramiv, GL::PauseTransformFeedback,
                          GL::ResumeTransformFeedback, GL::StencilMaskSeparate);
}

const char* ReadDepthStencil(Component component, Size sourceSize, Size outputSize, const ImageLayout& copy,
                             std::uint8_t* pixels)
{
    // In this order: the application's bindings are back before the objects that took their place are
    // deleted.
    const QuietErrors quiet;
    if (!CanReportErrors()) {
        FillOpaqueBlack(pixels, outputSize);
    }
    TemporaryObjects objects;
    const NeutralState state;

    const char* reason = "the driver refused to copy it";
    if (CopySource(objects, state.Source(), copy, sourceSize, component) == GL_NO_ERROR) {
        constexpr ImageLayout Picture{GL_RGBA, GL_RGBA, GL_UNSIGNED_BYTE};
        const bool stencil = component == Component::Stencil;
        reason = DrawCopy(objects, state, stencil ? StencilShaders : DepthShaders, Picture, outputSize);
    }
    if (!reason) {
        GL::ReadPixels(0, 0, outputSize.width, outputSize.height, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
        reason = TakeError() != GL_NO_ERROR ? "the driver refused to draw or to read it" : nullptr;
    }
    if (reason) {
        FillOpaqueBlack(pixels, outputSize);
    }
    return reason;
}

void ShowDepthStencil(Component component, Size sourceSize, Size outputSize, const ImageLayout& copy,
                      std::uint8_t* pixels)
{
    if (const char* const reason = ReadDepthStencil(component, sourceSize, outputSize, copy, pixels)) {
        UTIL_LOG(Core::Log::LevelWarning, "The picture of the %s buffer is black: %s",
                 component == Component::Stencil ? "stencil" : "depth", reason);
    }
}

} // namespace Util
