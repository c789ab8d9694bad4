#include "DriverTables.h"

#include "Core/KHRLayer.h"
#include "support/GLContext.h"
#include "support/TemporaryFolder.h"

#include <EGL/egl.h>
#include <GLES3/gl31.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace {

using Core::DriverTables;

/// The functions that a Khronos header declares, in its order.
std::vector<std::string> Declared(const std::string& header)
{
    const std::string text = TestSupport::ReadFile(KHRONOS_HEADERS + ("/" + header));
    const std::regex declaration(R"(APIENTRY ((?:gl|egl)[A-Z]\w*) \()");
    std::vector<std::string> names;
    for (std::sregex_iterator match(text.begin(), text.end(), declaration), end; match != end; ++match) {
        names.push_back((*match)[1]);
    }
    return names;
}

TEST(DriverTables, NamesAreTheHeadersInTheirOrder)
{
    const std::span<const char* const> names(Core::GLESNames);
    const struct
    {
        const char* header;
        std::span<const char* const> names;
        std::size_t skipped;
    } cases[] = {
        {"GLES2/gl2.h", names.first(Core::FirstES30), 0},
        {"GLES3/gl3.h", names.first(Core::FirstES31), 0},
        {"GLES3/gl31.h", names.subspan(Core::FirstES31 + 1), Core::FirstES31},
        {"EGL/egl.h", Core::EGLNames, 0},
    };
    for (const auto& row : cases) {
        std::vector<std::string> declared = Declared(row.header);
        ASSERT_GE(declared.size(), row.skipped + row.names.size()) << row.header;
        declared.erase(declared.begin(), declared.begin() + static_cast<std::ptrdiff_t>(row.skipped));
        declared.resize(row.names.size());
        EXPECT_THAT(row.names, testing::ElementsAreArray(declared)) << row.header;
    }
    EXPECT_EQ(names[Core::FirstES31], nullptr);
}

/// What the driver below says when asked for its version; null where no context is current.
const char* s_version = nullptr;

const GLubyte* GetVersion(GLenum /*name*/)
{
    return reinterpret_cast<const GLubyte*>(s_version);
}

/// A driver that has everything, each function at an address of its own.
void* Find(const char* name)
{
    static std::map<std::string, char> s_functions;
    return name == std::string("glGetString") ? reinterpret_cast<void*>(&GetVersion) : &s_functions[name];
}

TEST(DriverTables, VersionOfTheContextDecides)
{
    const struct
    {
        const char* version;
        int number;
        std::size_t count;
    } cases[] = {
        {nullptr, 0, 0},
        {"OpenGL ES 2.0 (a driver)", 20, 142},
        {"OpenGL ES 3.0", 30, 246},
        {"OpenGL ES 3.2 a driver 22.3", 32, 315},
        {"OpenGL ES-CM 1.1", 0, 0},
        {"4.6 (Compatibility Profile) a driver", 0, 0},
        {"", 0, 0},
    };
    const DriverTables tables(&Find);
    for (const auto& [version, number, count] : cases) {
        s_version = version;
        SCOPED_TRACE(version ? version : "no context");
        EXPECT_EQ(tables.CurrentVersion(), number);
        void* const* const table = tables.GLES();
        for (std::size_t index = 0; index < Core::GLESNames.size(); ++index) {
            const char* const name = Core::GLESNames[index];
            EXPECT_EQ(table[index], index < count && name ? Find(name) : nullptr) << index;
        }
    }
}

bool AllNull(void* const* table)
{
    return std::all_of(table, table + Core::GLESNames.size(), [](const void* entry) { return !entry; });
}

TEST(KHRLayer, TablesAreOfTheCurrentContext)
{
    EXPECT_TRUE(AllNull(Core::KHRLayer::GLESProc())) << "no context";
    {
        const TestSupport::GLContext context;
        void* const* const table = Core::KHRLayer::GLESProc();
        EXPECT_EQ(std::count(table, table + Core::GLESNames.size(), nullptr), 1) << "the reserved entry";
        EXPECT_EQ(table[252], reinterpret_cast<void*>(&glGetFramebufferParameteriv));

        const auto getIntegerv = reinterpret_cast<PFNGLGETINTEGERVPROC>(table[63]);
        GLint major = 0;
        getIntegerv(GL_MAJOR_VERSION, &major);
        EXPECT_EQ(major, 3);
        const auto getCurrentSurface =
            reinterpret_cast<PFNEGLGETCURRENTSURFACEPROC>(Core::KHRLayer::EGLProc()[11]);
        EXPECT_EQ(getCurrentSurface(EGL_DRAW), context.Surface());

        bool isNullElsewhere = false;
        std::thread([&] { isNullElsewhere = AllNull(Core::KHRLayer::GLESProc()); }).join();
        EXPECT_TRUE(isNullElsewhere) << "a thread without the context";
        EXPECT_EQ(Core::KHRLayer::GLESProc(), table);
    }
    EXPECT_TRUE(AllNull(Core::KHRLayer::GLESProc())) << "no context any more";
}

} // namespace
