#include "support/GLSnapshot.h"

#include <GLES3/gl32.h>
#include <GLES2/gl2ext.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>
#include <utility>

namespace TestSupport {

namespace {

using Values = std::map<std::string, std::string>;

// Objects are numbered from 1 by the driver, lowest free number first.
constexpr GLuint Names = 128;
constexpr GLuint Units = 4;
constexpr GLuint Attributes = 4;

struct Item
{
    const char* name;
    GLenum value;
    std::size_t count = 1;
};

// The name of an enumerant is its own label; a second argument is the number of its values.
// clang-format off
#define ITEM(enumerant, ...) {#enumerant, enumerant, 1 __VA_OPT__(* __VA_ARGS__)}

// Floats come as integers too: colours and depths over the whole range, others rounded.
constexpr Item ContextValues[] = {
    ITEM(GL_ACTIVE_TEXTURE), ITEM(GL_ARRAY_BUFFER_BINDING), ITEM(GL_ATOMIC_COUNTER_BUFFER_BINDING),
    ITEM(GL_BLEND), ITEM(GL_BLEND_COLOR, 4), ITEM(GL_BLEND_DST_ALPHA), ITEM(GL_BLEND_DST_RGB),
    ITEM(GL_BLEND_EQUATION_ALPHA), ITEM(GL_BLEND_EQUATION_RGB), ITEM(GL_BLEND_SRC_ALPHA),
    ITEM(GL_BLEND_SRC_RGB), ITEM(GL_CLIP_DEPTH_MODE_EXT), ITEM(GL_CLIP_ORIGIN_EXT),
    ITEM(GL_COLOR_CLEAR_VALUE, 4), ITEM(GL_COLOR_WRITEMASK, 4), ITEM(GL_COPY_READ_BUFFER_BINDING),
    ITEM(GL_COPY_WRITE_BUFFER_BINDING), ITEM(GL_CULL_FACE), ITEM(GL_CULL_FACE_MODE),
    ITEM(GL_CURRENT_PROGRAM), ITEM(GL_DEBUG_GROUP_STACK_DEPTH), ITEM(GL_DEBUG_OUTPUT_SYNCHRONOUS),
    ITEM(GL_DEPTH_CLEAR_VALUE), ITEM(GL_DEPTH_FUNC), ITEM(GL_DEPTH_RANGE, 2), ITEM(GL_DEPTH_TEST),
    ITEM(GL_DEPTH_WRITEMASK), ITEM(GL_DISPATCH_INDIRECT_BUFFER_BINDING), ITEM(GL_DITHER),
    ITEM(GL_DRAW_FRAMEBUFFER_BINDING), ITEM(GL_DRAW_INDIRECT_BUFFER_BINDING), ITEM(GL_FRAMEBUFFER_SRGB_EXT),
    ITEM(GL_FRONT_FACE), ITEM(GL_LINE_WIDTH), ITEM(GL_PACK_ALIGNMENT),
    ITEM(GL_PACK_REVERSE_ROW_ORDER_ANGLE), ITEM(GL_PACK_ROW_LENGTH), ITEM(GL_PACK_SKIP_PIXELS),
    ITEM(GL_PACK_SKIP_ROWS), ITEM(GL_PATCH_VERTICES), ITEM(GL_PIXEL_PACK_BUFFER_BINDING),
    ITEM(GL_PIXEL_UNPACK_BUFFER_BINDING), ITEM(GL_POLYGON_MODE_NV), ITEM(GL_POLYGON_OFFSET_FILL),
    ITEM(GL_PRIMITIVE_RESTART_FIXED_INDEX), ITEM(GL_PROGRAM_PIPELINE_BINDING), ITEM(GL_RASTERIZER_DISCARD),
    ITEM(GL_READ_FRAMEBUFFER_BINDING), ITEM(GL_RENDERBUFFER_BINDING), ITEM(GL_SAMPLE_ALPHA_TO_COVERAGE),
    ITEM(GL_SAMPLE_COVERAGE), ITEM(GL_SAMPLE_COVERAGE_INVERT), ITEM(GL_SAMPLE_COVERAGE_VALUE),
    ITEM(GL_SAMPLE_MASK), ITEM(GL_SAMPLE_SHADING), ITEM(GL_SCISSOR_BOX, 4), ITEM(GL_SCISSOR_TEST),
    ITEM(GL_SHADER_STORAGE_BUFFER_BINDING), ITEM(GL_STENCIL_BACK_FAIL), ITEM(GL_STENCIL_BACK_FUNC),
    ITEM(GL_STENCIL_BACK_PASS_DEPTH_FAIL), ITEM(GL_STENCIL_BACK_PASS_DEPTH_PASS), ITEM(GL_STENCIL_BACK_REF),
    ITEM(GL_STENCIL_BACK_VALUE_MASK), ITEM(GL_STENCIL_BACK_WRITEMASK), ITEM(GL_STENCIL_CLEAR_VALUE),
    ITEM(GL_STENCIL_FAIL), ITEM(GL_STENCIL_FUNC), ITEM(GL_STENCIL_PASS_DEPTH_FAIL),
    ITEM(GL_STENCIL_PASS_DEPTH_PASS), ITEM(GL_STENCIL_REF), ITEM(GL_STENCIL_TEST),
    ITEM(GL_STENCIL_VALUE_MASK), ITEM(GL_STENCIL_WRITEMASK), ITEM(GL_TEXTURE_BUFFER_BINDING),
    ITEM(GL_TRANSFORM_FEEDBACK_ACTIVE), ITEM(GL_TRANSFORM_FEEDBACK_BINDING),
    ITEM(GL_TRANSFORM_FEEDBACK_BUFFER_BINDING), ITEM(GL_TRANSFORM_FEEDBACK_PAUSED),
    ITEM(GL_UNIFORM_BUFFER_BINDING), ITEM(GL_UNPACK_ALIGNMENT), ITEM(GL_UNPACK_IMAGE_HEIGHT),
    ITEM(GL_UNPACK_ROW_LENGTH), ITEM(GL_UNPACK_SKIP_IMAGES), ITEM(GL_UNPACK_SKIP_PIXELS),
    ITEM(GL_UNPACK_SKIP_ROWS), ITEM(GL_VERTEX_ARRAY_BINDING), ITEM(GL_VIEWPORT, 4),
};

constexpr Item AttributeValues[] = {
    ITEM(GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING), ITEM(GL_VERTEX_ATTRIB_ARRAY_DIVISOR),
    ITEM(GL_VERTEX_ATTRIB_ARRAY_ENABLED), ITEM(GL_VERTEX_ATTRIB_ARRAY_INTEGER),
    ITEM(GL_VERTEX_ATTRIB_ARRAY_NORMALIZED), ITEM(GL_VERTEX_ATTRIB_ARRAY_SIZE),
    ITEM(GL_VERTEX_ATTRIB_ARRAY_STRIDE), ITEM(GL_VERTEX_ATTRIB_ARRAY_TYPE), ITEM(GL_VERTEX_ATTRIB_BINDING),
    ITEM(GL_VERTEX_ATTRIB_RELATIVE_OFFSET),
};

constexpr Item TextureParameters[] = {
    ITEM(GL_DEPTH_STENCIL_TEXTURE_MODE), ITEM(GL_TEXTURE_BASE_LEVEL), ITEM(GL_TEXTURE_COMPARE_FUNC),
    ITEM(GL_TEXTURE_COMPARE_MODE), ITEM(GL_TEXTURE_MAG_FILTER), ITEM(GL_TEXTURE_MAX_LEVEL),
    ITEM(GL_TEXTURE_MIN_FILTER), ITEM(GL_TEXTURE_SWIZZLE_A), ITEM(GL_TEXTURE_SWIZZLE_B),
    ITEM(GL_TEXTURE_SWIZZLE_G), ITEM(GL_TEXTURE_SWIZZLE_R), ITEM(GL_TEXTURE_WRAP_R), ITEM(GL_TEXTURE_WRAP_S),
    ITEM(GL_TEXTURE_WRAP_T),
};

struct TextureTarget
{
    const char* name;
    GLenum target;
    GLenum binding;
    bool hasParameters;
};

#define TARGET(name, hasAny) {"GL_TEXTURE_" #name, GL_TEXTURE_##name, GL_TEXTURE_BINDING_##name, hasAny}
constexpr TextureTarget TextureTargets[] = {
    TARGET(2D, true), TARGET(2D_ARRAY, true), TARGET(2D_MULTISAMPLE, true),
    TARGET(2D_MULTISAMPLE_ARRAY, true), TARGET(3D, true), TARGET(BUFFER, false),
    TARGET(CUBE_MAP, true), TARGET(CUBE_MAP_ARRAY, true),
    TARGET(EXTERNAL_OES, false),
};

constexpr Item FramebufferValues[] = {
    ITEM(GL_READ_BUFFER), ITEM(GL_DRAW_BUFFER0), ITEM(GL_DRAW_BUFFER1), ITEM(GL_DRAW_BUFFER2),
};

constexpr Item Attachments[] = {
    ITEM(GL_COLOR_ATTACHMENT0), ITEM(GL_COLOR_ATTACHMENT1), ITEM(GL_COLOR_ATTACHMENT2),
    ITEM(GL_DEPTH_ATTACHMENT), ITEM(GL_STENCIL_ATTACHMENT),
};

constexpr Item AttachmentOfTexture[] = {
    ITEM(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL), ITEM(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_CUBE_MAP_FACE),
    ITEM(GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LAYER), ITEM(GL_FRAMEBUFFER_ATTACHMENT_LAYERED),
};

constexpr Item Queries[] = {
    ITEM(GL_ANY_SAMPLES_PASSED), ITEM(GL_ANY_SAMPLES_PASSED_CONSERVATIVE), ITEM(GL_PRIMITIVES_GENERATED),
    ITEM(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN),
};

// clang-format on

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

/// @return whether the driver has answered the query that was just made
bool IsKnown()
{
    return glGetError() == GL_NO_ERROR;
}

GLint GetInteger(GLenum name)
{
    GLint value = 0;
    glGetIntegerv(name, &value);
    return IsKnown() ? value : 0;
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

std::string Indexed(std::string_view name, GLuint index)
{
    return std::string(name).append("[").append(std::to_string(index)).append("]");
}

/// Asks for each item by `query(enumerant, GLint*)`, and leaves out what the driver does not know.
template <typename Query>
void AddItems(Values& values, const std::string& prefix, std::span<const Item> items, Query query)
{
    for (const Item& item : items) {
        GLint numbers[4] = {};
        query(item.value, numbers);
        if (IsKnown()) {
            values[prefix + item.name] = Text(std::span<const GLint>(numbers).first(item.count));
        }
    }
}

void AddContextState(Values& values)
{
    AddItems(values, "", ContextValues, &glGetIntegerv);
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
        if (texture == 0 || !target.hasParameters) {
            continue;
        }
        const std::string label = Indexed("texture", static_cast<GLuint>(texture)) + " ";
        AddItems(values, label, TextureParameters, [&target](GLenum name, GLint* numbers) {
            glGetTexParameteriv(target.target, name, numbers);
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
    AddItems(values, prefix, std::array{Item ITEM(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME)}, get);
    if (type == GL_TEXTURE) {
        AddItems(values, prefix, AttachmentOfTexture, get);
    }
}

void AddFramebuffer(Values& values, GLuint framebuffer)
{
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    const std::string label = Indexed("framebuffer", framebuffer) + " ";
    AddItems(values, label, FramebufferValues, &glGetIntegerv);
    if (framebuffer != 0) {
        for (const Item& attachment : Attachments) {
            AddAttachment(values, label, attachment);
        }
    }
}

/// Looks at object 0 and at those that are.
void AddEach(Values& values, void (*add)(Values&, GLuint), GLboolean (*isObject)(GLuint))
{
    for (GLuint name = 0; name < Names; ++name) {
        if (name == 0 || isObject(name)) {
            add(values, name);
        }
    }
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

GLSnapshot GLSnapshot::Now()
{
    GLSnapshot state;
    state.m_values["pending error"] = Text(std::array{static_cast<GLint>(glGetError())});
    const GLboolean reports = glIsEnabled(GL_DEBUG_OUTPUT);
    state.m_values["GL_DEBUG_OUTPUT"] = std::to_string(reports);
    glDisable(GL_DEBUG_OUTPUT); // the application need not hear of queries that are refused
    AddContextState(state.m_values);
    AddAllTextures(state.m_values);
    const auto vertexArray = static_cast<GLuint>(GetInteger(GL_VERTEX_ARRAY_BINDING));
    const auto draw = static_cast<GLuint>(GetInteger(GL_DRAW_FRAMEBUFFER_BINDING));
    const auto read = static_cast<GLuint>(GetInteger(GL_READ_FRAMEBUFFER_BINDING));
    AddEach(state.m_values, &AddVertexArray, &glIsVertexArray);
    AddEach(state.m_values, &AddFramebuffer, &glIsFramebuffer);
    glBindVertexArray(vertexArray);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, draw);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, read);
    AddObjects(state.m_values);
    if (reports) {
        glEnable(GL_DEBUG_OUTPUT);
    }
    return state;
}

std::string GLSnapshot::ChangesSince(const GLSnapshot& before) const
{
    const auto valueIn = [](const Values& values, const std::string& name) {
        const auto found = values.find(name);
        return found == values.end() ? "(none)" : found->second;
    };
    Values names = before.m_values;
    names.insert(m_values.begin(), m_values.end());
    std::string changes;
    for (const auto& [name, any] : names) {
        const std::string was = valueIn(before.m_values, name);
        const std::string is = valueIn(m_values, name);
        if (was != is) {
            changes.append(name).append(": ").append(was).append(" -> ").append(is).append("\n");
        }
    }
    return changes;
}

} // namespace TestSupport
