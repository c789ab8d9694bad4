#pragma once

#include <map>
#include <string>

namespace TestSupport {

/// The current context's state as a program can query it: whatever code that borrows the context may disturb,
/// the attachments of every framebuffer, the parameters of the bound textures, and which objects exist.
///
/// ```cpp
/// const GLSnapshot before = GLSnapshot::Now();
/// Capture();
/// EXPECT_EQ(GLSnapshot::Now().ChangesSince(before), "");
/// ```
class GLSnapshot
{
public:
    /// Needs OpenGL ES 3.1 and `GL_KHR_debug`. What the driver does not know is not part of it. Takes the
    /// pending GL error, which is.
    static GLSnapshot Now();

    /// @return one line for each value that differs, `name: before -> now`; empty where nothing does
    [[nodiscard]] std::string ChangesSince(const GLSnapshot& before) const;

private:
    std::map<std::string, std::string> m_values;
};

} // namespace TestSupport
