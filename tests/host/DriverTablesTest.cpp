#include "DriverTables.h"

#include "Core/KHRLayer.h"
#include "support/GLContext.h"

#include <EGL/egl.h>
#include <GLES3/gl31.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <thread>

namespace {

using Core::DriverTables;

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
        {"4.6 (Compatibility Profile) a driver", 0, 0},
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
