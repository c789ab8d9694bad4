#include "support/GLState.h"

#include <GLES3/gl32.h>
#include <GLES2/gl2ext.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace TestSupport {

namespace {

using Values = std::map<std::string, std::string>;

// Objects are numbered from 1 by the driver, lowest free number first.
constexpr GLuint Names = 128;
constexpr GLuint Units = 4;
constexpr GLuint Attributes = 4;
constexpr GLuint IndexedBindings = 4;
constexpr GLuint DrawBuffers = 4;

struct Item
{
    const char* name;
    GLenum value;
    std::size_t count = 1;
};

// The name of an enumerant is its own label.
#define UTIL_ITEM(enumerant, ...)                                                                            \
    Item                                                                                                     \
    {                                                                                                        \
#enumerant, enumerant __VA_OPT__(, ) __VA_ARGS__                                                     \
    }

constexpr Item Switches[] = {
    UTIL_ITEM(GL_BLEND),
    UTIL_ITEM(GL_CULL_FACE),
    UTIL_ITEM(GL_DEBUG_OUTPUT),
    UTIL_ITEM(GL_DEBUG_OUTPUT_SYNCHRONOUS),
    UTIL_ITEM(GL_DEPTH_TEST),
    UTIL_ITEM(GL_DITHER),
    UTIL_ITEM(GL_POLYGON_OFFSET_FILL),
    UTIL_ITEM(GL_PRIMITIVE_RESTART_FIXED_INDEX),
    UTIL_ITEM(GL_RASTERIZER_DISCARD),
    UTIL_ITEM(GL_SAMPLE_ALPHA_TO_COVERAGE),
    UTIL_ITEM(GL_SAMPLE_COVERAGE),
    UTIL_ITEM(GL_SAMPLE_MASK),
    UTIL_ITEM(GL_SAMPLE_SHADING),
    UTIL_ITEM(GL_SCISSOR_TEST),
    UTIL_ITEM(GL_STENCIL_TEST),
};

constexpr Item Integers[] = {
    UTIL_ITEM(GL_ACTIVE_TEXTURE),
    UTIL_ITEM(GL_ARRAY_BUFFER_BINDING),
    UTIL_ITEM(GL_ATOMIC_COUNTER_BUFFER_BINDING),
    UTIL_ITEM(GL_BLEND_DST_ALPHA),
    UTIL_ITEM(GL_BLEND_DST_RGB),
    UTIL_ITEM(GL_BLEND_EQUATION_ALPHA),
    UTIL_ITEM(GL_BLEND_EQUATION_RGB),
    UTIL_ITEM(GL_BLEND_SRC_ALPHA),
    UTIL_ITEM(GL_BLEND_SRC_RGB),
    UTIL_ITEM(GL_COLOR_WRITEMASK, 4),
    UTIL_ITEM(GL_COPY_READ_BUFFER_BINDING),
    UTIL_ITEM(GL_COPY_WRITE_BUFFER_BINDING),
    UTIL_ITEM(GL_CULL_FACE_MODE),
    UTIL_ITEM(GL_CURRENT_PROGRAM),
    UTIL_ITEM(GL_DEBUG_GROUP_STACK_DEPTH),
    UTIL_ITEM(GL_DEPTH_FUNC),
    UTIL_ITEM(GL_DEPTH_WRITEMASK),
    UTIL_ITEM(GL_DISPATCH_INDIRECT_BUFFER_BINDING),
    UTIL_ITEM(GL_DRAW_FRAMEBUFFER_BINDING),
    UTIL_ITEM(GL_DRAW_INDIRECT_BUFFER_BINDING),
    UTIL_ITEM(GL_FRAGMENT_SHADER_DERIVATIVE_HINT),
    UTIL_ITEM(GL_FRONT_FACE),
    UTIL_ITEM(GL_GENERATE_MIPMAP_HINT),
    UTIL_ITEM(GL_PACK_ALIGNMENT),
    UTIL_ITEM(GL_PACK_ROW_LENGTH),
    UTIL_ITEM(GL_PACK_SKIP_PIXELS),
    UTIL_ITEM(GL_PACK_SKIP_ROWS),
    UTIL_ITEM(GL_PATCH_VERTICES),
    UTIL_ITEM(GL_PIXEL_PACK_BUFFER_BINDING),
    UTIL_ITEM(GL_PIXEL_UNPACK_BUFFER_BINDING),
    UTIL_ITEM(GL_PROGRAM_PIPELINE_BINDING),
    UTIL_ITEM(GL_READ_FRAMEBUFFER_BINDING),
    UTIL_ITEM(GL_RENDERBUFFER_BINDING),
    UTIL_ITEM(GL_SCISSOR_BOX, 4),
    UTIL_ITEM(GL_SHADER_STORAGE_BUFFER_BINDING),
    UTIL_ITEM(GL_STENCIL_BACK_FAIL),
    UTIL_ITEM(GL_STENCIL_BACK_FUNC),
    UTIL_ITEM(GL_STENCIL_BACK_PASS_DEPTH_FAIL),
    UTIL_ITEM(GL_STENCIL_BACK_PASS_DEPTH_PASS),
    UTIL_ITEM(GL_STENCIL_BACK_REF),
    UTIL_ITEM(GL_STENCIL_BACK_VALUE_MASK),
    UTIL_ITEM(GL_STENCIL_BACK_WRITEMASK),
    UTIL_ITEM(GL_STENCIL_CLEAR_VALUE),
    UTIL_ITEM(GL_STENCIL_FAIL),
    UTIL_ITEM(GL_STENCIL_FUNC),
    UTIL_ITEM(GL_STENCIL_PASS_DEPTH_FAIL),
    UTIL_ITEM(GL_STENCIL_PASS_DEPTH_PASS),
    UTIL_ITEM(GL_STENCIL_REF),
    UTIL_ITEM(GL_STENCIL_VALUE_MASK),
    UTIL_ITEM(GL_STENCIL_WRITEMASK),
    UTIL_ITEM(GL_TEXTURE_BUFFER_BINDING),
    UTIL_ITEM(GL_TRANSFORM_FEEDBACK_ACTIVE),
    UTIL_ITEM(GL_TRANSFORM_FEEDBACK_BINDING),
    UTIL_ITEM(GL_TRANSFORM_FEEDBACK_BUFFER_BINDING),
    UTIL_ITEM(GL_TRANSFORM_FEEDBACK_PAUSED),
    UTIL_ITEM(GL_UNIFORM_BUFFER_BINDING),
    UTIL_ITEM(GL_UNPACK_ALIGNMENT),
    UTIL_ITEM(GL_UNPACK_IMAGE_HEIGHT),
    UTIL_ITEM(GL_UNPACK_ROW_LENGTH),
    UTIL_ITEM(GL_UNPACK_SKIP_IMAGES),
    UTIL_ITEM(GL_UNPACK_SKIP_PIXELS),
    UTIL_ITEM(GL_UNPACK_SKIP_ROWS),
    UTIL_ITEM(GL_VERTEX_ARRAY_BINDING),
    UTIL_ITEM(GL_VIEWPORT, 4),
};

constexpr Item Floats[] = {
    UTIL_ITEM(GL_BLEND_COLOR, 4),
    UTIL_ITEM(GL_COLOR_CLEAR_VALUE, 4),
    UTIL_ITEM(GL_DEPTH_CLEAR_VALUE),
    UTIL_ITEM(GL_DEPTH_RANGE, 2),
    UTIL_ITEM(GL_LINE_WIDTH),
    UTIL_ITEM(GL_MIN_SAMPLE_SHADING_VALUE),
    UTIL_ITEM(GL_POLYGON_OFFSET_FACTOR),
    UTIL_ITEM(GL_POLYGON_OFFSET_UNITS),
    UTIL_ITEM(GL_SAMPLE_COVERAGE_INVERT),
    UTIL_ITEM(GL_SAMPLE_COVERAGE_VALUE),
};

constexpr Item IndexedBuffers[] = {
    UTIL_ITEM(GL_ATOMIC_COUNTER_BUFFER_BINDING),
    UTIL_ITEM(GL_SHADER_STORAGE_BUFFER_BINDING),
    UTIL_ITEM(GL_TRANSFORM_FEEDBACK_BUFFER_BINDING),
    UTIL_ITEM(GL_TRANSFORM_FEEDBACK_BUFFER_SIZE),
    UTIL_ITEM(GL_TRANSFORM_FEEDBACK_BUFFER_START),
    UTIL_ITEM(GL_UNIFORM_BUFFER_BINDING),
    UTIL_ITEM(GL_UNIFORM_BUFFER_SIZE),
    UTIL_ITEM(GL_UNIFORM_BUFFER_START),
};

constexpr Item BlendOfOneBuffer[] = {
    UTIL_ITEM(GL_BLEND_DST_ALPHA),    UTIL_ITEM(GL_BLEND_DST_RGB),   UTIL_ITEM(GL_BLEND_EQUATION_ALPHA),
    UTIL_ITEM(GL_BLEND_EQUATION_RGB), UTIL_ITEM(GL_BLEND_SRC_ALPHA), UTIL_ITEM(GL_BLEND_SRC_RGB),
    UTIL_ITEM(GL_COLOR_WRITEMASK, 4),
};

constexpr Item AttributeValues[] = {
    UTIL_ITEM(GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING),
    UTIL_ITEM(GL_VERTEX_ATTRIB_ARRAY_DIVISOR),
    UTIL_ITEM(GL_VERTEX_ATTRIB_ARRAY_ENABLED),
    UTIL_ITEM(GL_VERTEX_ATTRIB_ARRAY_INTEGER),
    UTIL_ITEM(GL_VERTEX_ATTRIB_ARRAY_NORMALIZED),
    UTIL_ITEM(GL_VERTEX_ATTRIB_ARRAY_SIZE),
    UTIL_ITEM(GL_VERTEX_ATTRIB_ARRAY_STRIDE),
    UTIL_ITEM(GL_VERTEX_ATTRIB_ARRAY_TYPE),
    UTIL_ITEM(GL_VERTEX_ATTRIB_BINDING),
    UTIL_ITEM(GL_VERTEX_ATTRIB_RELATIVE_OFFSET),
};

constexpr Item TextureParameters[] = {
    UTIL_ITEM(GL_DEPTH_STENCIL_TEXTURE_MODE),
    UTIL_ITEM(GL_TEXTURE_BASE_LEVEL),
    UTIL_ITEM(GL_TEXTURE_COMPARE_FUNC),
    UTIL_ITEM(GL_TEXTURE_COMPARE_MODE),
    UTIL_ITEM(GL_TEXTURE_MAG_FILTER),
    UTIL_ITEM(GL_TEXTURE_MAX_LEVEL),
    UTIL_ITEM(GL_TEXTURE_MIN_FILTER),
    UTIL_ITEM(GL_TEXTURE_SWIZZLE_A),
    UTIL_ITEM(GL_TEXTURE_SWIZZLE_B),
    UTIL_ITEM(GL_TEXTURE_SWIZZLE_G),
    UTIL_ITEM(GL_TEXTURE_SWIZZLE_R),
    UTIL_ITEM(GL_TEXTURE_WRAP_R),
    UTIL_ITEM(GL_TEXTURE_WRAP_S),
    UTIL_ITEM(GL_TEXTURE_WRAP_T),
};

struct TextureTarget
{
    const char* name;
    GLenum target;
    GLenum binding;
    GLenum image; ///< a target with levels to ask about
};

constexpr TextureTarget TextureTargets[] = {
    {"GL_TEXTURE_2D", GL_TEXTURE_2D, GL_TEXTURE_BINDING_2D, GL_TEXTURE_2D},
    {"GL_TEXTURE_2D_ARRAY", GL_TEXTURE_2D_ARRAY, GL_TEXTURE_BINDING_2D_ARRAY, GL_TEXTURE_2D_ARRAY},
    {"GL_TEXTURE_2D_MULTISAMPLE", GL_TEXTURE_2D_MULTISAMPLE, GL_TEXTURE_BINDING_2D_MULTISAMPLE,
     GL_TEXTURE_2D_MULTISAMPLE},
    {"GL_TEXTURE_2D_MULTISAMPLE_ARRAY", GL_TEXTURE_2D_MULTISAMPLE_ARRAY,
     GL_TEXTURE_BINDING_2D_MULTISAMPLE_ARRAY, GL_TEXTURE_2D_MULTISAMPLE_ARRAY},
    {"GL_TEXTURE_3D", GL_TEXTURE_3D, GL_TEXTURE_BINDING_3D, GL_TEXTURE_3D},
    {"GL_TEXTURE_BUFFER", GL_TEXTURE_BUFFER, GL_TEXTURE_BINDING_BUFFER, GL_NONE},
    {"GL_TEXTURE_CUBE_MAP", GL_TEXTURE_CUBE_MAP, GL_TEXTURE_BINDING_CUBE_MAP, GL_TEXTURE_CUBE_MAP_POSITIVE_X},
    {"GL_TEXTURE_CUBE_MAP_ARRAY", GL_TEXTURE_CUBE_MAP_ARRAY, GL_TEXTURE_BINDING_CUBE_MAP_ARRAY,
     GL_TEXTURE_CUBE_MAP_ARRAY},
    {"GL_TEXTURE_EXTERNAL_OES", GL_TEXTURE_EXTERNAL_OES, GL_TEXTURE_BINDING_EXTERNAL_OES, GL_NONE},
};

constexpr Item LevelParameters[] = {
    UTIL_ITEM(GL_TEXTURE_DEPTH),           UTIL_ITEM(GL_TEXTURE_HEIGHT),  UTIL_ITEM(GL_TEXTURE_WIDTH),
    UTIL_ITEM(GL_TEXTURE_INTERNAL_FORMAT), UTIL_ITEM(GL_TEXTURE_SAMPLES),
};

constexpr Item Attachments[] = {
    UTIL_ITEM(GL_COLOR_ATTACHMENT0), UTIL_ITEM(GL_COLOR_ATTACHMENT1),  UTIL_ITEM(GL_COLOR_ATTACHMENT2),
    UTIL_ITEM(GL_DEPTH_ATTACHMENT),  UTIL_ITEM(GL_STENCIL_ATTACHMENT),
};

constexpr Item AttachmentOfTexture[] = {
    UTIL_ITEM(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL),
    UTIL_ITEM(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_CUBE_MAP_FACE),
    UTIL_ITEM(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LAYER),
    UTIL_ITEM(GL_FRAMEBUFFER_ATTACHMENT_LAYERED),
};

constexpr Item Queries[] = {
    UTIL_ITEM(GL_ANY_SAMPLES_PASSED),
    UTIL_ITEM(GL_ANY_SAMPLES_PASSED_CONSERVATIVE),
    UTIL_ITEM(GL_PRIMITIVES_GENERATED),
    UTIL_ITEM(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN),
};

constexpr std::pair<const char*, GLboolean (*)(GLuint)> Objects[] = {
    {"buffers", &glIsBuffer},
    {"framebuffers", &glIsFramebuffer},
    {"program pipelines", &glIsProgramPipeline},
    {"programs", &glIsProgram},
    {"queries", &glIsQuery},
    {"renderbuffers", &glIsRenderbuffer},
    {"samplers", &glIsSampler},
    {"shaders", &glIsShader},
    {"textures", &glIsTexture},
    {"transform feedbacks", &glIsTransformFeedback},
    {"vertex arrays", &glIsVertexArray},
};

GLint GetInteger(GLenum name)
{
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

/// Enumerants, which begin at 256, in hexadecimal.
std::string Text(std::span<const GLint> values)
{
    std::string text;
    for (const GLint value : values) {
        char number[16];
        std::snprintf(number, sizeof(number), value >= 0x100 ? "0x%X" : "%d", value);
        text.append(text.empty() ? "" : " ").append(number);
    }
    return text;
}

std::string Text(std::span<const GLfloat> values)
{
    std::string text;
    for (const GLfloat value : values) {
        text.append(text.empty() ? "" : " ").append(std::to_string(value));
    }
    return text;
}

std::string Indexed(std::string_view name, GLuint index)
{
    return std::string(name).append("[").append(std::to_string(index)).append("]");
}

/// Asks for each item by `query(enumerant, GLint*)`.
template <typename Query>
void AddItems(Values& values, const std::string& prefix, std::span<const Item> items, Query query)
{
    for (const Item& item : items) {
        GLint numbers[4] = {};
        query(item.value, numbers);
        values[prefix + item.name] = Text(std::span<const GLint>(numbers).first(item.count));
    }
}

void AddContextState(Values& values)
{
    AddItems(values, "", Integers, [](GLenum name, GLint* numbers) { glGetIntegerv(name, numbers); });
    AddItems(values, "", Switches, [](GLenum name, GLint* numbers) { *numbers = glIsEnabled(name); });
    for (const Item& item : Floats) {
        GLfloat numbers[4] = {};
        glGetFloatv(item.value, numbers);
        values[item.name] = Text(std::span<const GLfloat>(numbers).first(item.count));
    }
    for (GLuint index = 0; index < IndexedBindings; ++index) {
        AddItems(values, Indexed("", index), IndexedBuffers,
                 [index](GLenum name, GLint* numbers) { glGetIntegeri_v(name, index, numbers); });
    }
    for (GLuint index = 0; index < DrawBuffers; ++index) {
        const std::string prefix = Indexed("draw buffer", index) + " ";
        AddItems(values, prefix, BlendOfOneBuffer,
                 [index](GLenum name, GLint* numbers) { glGetIntegeri_v(name, index, numbers); });
        values[prefix + "GL_BLEND"] = std::to_string(glIsEnabledi(GL_BLEND, index));
    }
    AddItems(values, "sample mask ", std::array{Item{"word 0", 0}},
             [](GLenum word, GLint* numbers) { glGetIntegeri_v(GL_SAMPLE_MASK_VALUE, word, numbers); });
    AddItems(values, "active query ", Queries,
             [](GLenum target, GLint* numbers) { glGetQueryiv(target, GL_CURRENT_QUERY, numbers); });
}

void AddTextures(Values& values, GLuint unit)
{
    const std::string prefix = "texture unit " + std::to_string(unit) + " ";
    glActiveTexture(GL_TEXTURE0 + unit);
    values[prefix + "GL_SAMPLER_BINDING"] = std::to_string(GetInteger(GL_SAMPLER_BINDING));
    for (const TextureTarget& target : TextureTargets) {
        const GLint texture = GetInteger(target.binding);
        values[prefix + target.name] = std::to_string(texture);
        if (texture == 0 || target.image == GL_NONE) {
            continue;
        }
        const std::string label = Indexed("texture", static_cast<GLuint>(texture)) + " ";
        AddItems(values, label, TextureParameters, [&target](GLenum name, GLint* numbers) {
            glGetTexParameteriv(target.target, name, numbers);
        });
        AddItems(values, label, LevelParameters, [&target](GLenum name, GLint* numbers) {
            glGetTexLevelParameteriv(target.image, 0, name, numbers);
        });
    }
}

void AddAllTextures(Values& values)
{
    const auto active = static_cast<GLenum>(GetInteger(GL_ACTIVE_TEXTURE));
    for (GLuint unit = 0; unit < Units; ++unit) {
        AddTextures(values, unit);
    }
    AddTextures(values, active - GL_TEXTURE0);
    glActiveTexture(active);
}

void AddVertexArray(Values& values, GLuint vertexArray)
{
    glBindVertexArray(vertexArray);
    const std::string label = Indexed("vertex array", vertexArray) + " ";
    values[label + "GL_ELEMENT_ARRAY_BUFFER_BINDING"] =
        std::to_string(GetInteger(GL_ELEMENT_ARRAY_BUFFER_BINDING));
    for (GLuint index = 0; index < Attributes; ++index) {
        const std::string prefix = label + Indexed("attribute", index) + " ";
        AddItems(values, prefix, AttributeValues,
                 [index](GLenum name, GLint* numbers) { glGetVertexAttribiv(index, name, numbers); });
        void* pointer = nullptr;
        glGetVertexAttribPointerv(index, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
        values[prefix + "pointer"] = std::to_string(reinterpret_cast<std::uintptr_t>(pointer));
    }
}

void AddAllVertexArrays(Values& values)
{
    const auto bound = static_cast<GLuint>(GetInteger(GL_VERTEX_ARRAY_BINDING));
    for (GLuint name = 0; name < Names; ++name) {
        if (name == 0 || glIsVertexArray(name)) {
            AddVertexArray(values, name);
        }
    }
    glBindVertexArray(bound);
    for (GLuint index = 0; index < Attributes; ++index) {
        GLfloat current[4] = {};
        glGetVertexAttribfv(index, GL_CURRENT_VERTEX_ATTRIB, current);
        values[Indexed("current attribute", index)] = Text(std::span<const GLfloat>(current));
    }
}

void AddAttachment(Values& values, const std::string& label, const Item& attachment)
{
    const auto get = [&attachment](GLenum name, GLint* numbers) {
        glGetFramebufferAttachmentParameteriv(GL_READ_FRAMEBUFFER, attachment.value, name, numbers);
    };
    const std::string prefix = label + attachment.name + " ";
    GLint type = GL_NONE;
    get(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, &type);
    values[prefix + "type"] = Text(std::array{type});
    if (type == GL_NONE) {
        return;
    }
    AddItems(values, prefix, std::array{UTIL_ITEM(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME)}, get);
    if (type == GL_TEXTURE) {
        AddItems(values, prefix, AttachmentOfTexture, get);
    }
}

void AddFramebuffer(Values& values, GLuint framebuffer)
{
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    const std::string label = Indexed("framebuffer", framebuffer) + " ";
    AddItems(values, label, std::array{UTIL_ITEM(GL_READ_BUFFER)},
             [](GLenum name, GLint* numbers) { glGetIntegerv(name, numbers); });
    for (GLuint index = 0; index < DrawBuffers; ++index) {
        AddItems(values, label + Indexed("", index), std::array{UTIL_ITEM(GL_DRAW_BUFFER0)},
                 [index](GLenum name, GLint* numbers) { glGetIntegerv(name + index, numbers); });
    }
    if (framebuffer != 0) {
        for (const Item& attachment : Attachments) {
            AddAttachment(values, label, attachment);
        }
    }
}

void AddAllFramebuffers(Values& values)
{
    const auto draw = static_cast<GLuint>(GetInteger(GL_DRAW_FRAMEBUFFER_BINDING));
    const auto read = static_cast<GLuint>(GetInteger(GL_READ_FRAMEBUFFER_BINDING));
    for (GLuint name = 0; name < Names; ++name) {
        if (name == 0 || glIsFramebuffer(name)) {
            AddFramebuffer(values, name);
        }
    }
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, draw);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, read);
}

void AddObjects(Values& values)
{
    for (const auto& [label, isObject] : Objects) {
        std::string names;
        for (GLuint name = 1; name < Names; ++name) {
            if (isObject(name)) {
                names.append(names.empty() ? "" : " ").append(std::to_string(name));
            }
        }
        values[label] = names;
    }
}

} // namespace

GLState GLState::Now()
{
    GLState state;
    state.m_values["pending error"] = Text(std::array{static_cast<GLint>(glGetError())});
    AddContextState(state.m_values);
    AddAllTextures(state.m_values);
    AddAllVertexArrays(state.m_values);
    AddAllFramebuffers(state.m_values);
    AddObjects(state.m_values);
    if (const GLenum error = glGetError(); error != GL_NO_ERROR) {
        throw std::logic_error("a query of the GL state raised error " + std::to_string(error));
    }
    return state;
}

std::string GLState::ChangesSince(const GLState& before) const
{
    std::map<std::string, std::array<std::string, 2>> lines;
    for (const auto& [name, value] : before.m_values) {
        lines[name] = {value, "(none)"};
    }
    for (const auto& [name, value] : m_values) {
        lines.try_emplace(name, std::array<std::string, 2>{"(none)", {}}).first->second[1] = value;
    }
    std::string changes;
    for (const auto& [name, values] : lines) {
        if (values[0] != values[1]) {
            changes.append(name).append(": ").append(values[0]).append(" -> ").append(values[1]).append("\n");
        }
    }
    return changes;
}

} // namespace TestSupport
