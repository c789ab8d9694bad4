#pragma once

#include "Core/Console.h"
#include "Core/Log.h"
#include "Core/StdioWriter.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace TestSupport {

/// The real logger, with a debugger that remembers and a log file; its settings are put back after each test.
class LogFixture : public testing::Test
{
protected:
    LogFixture()
    {
        s_toDebugger.clear();
        m_writer->Open();
        Core::Log::SetFileWriter(m_writer);
        Core::Log::SetDebuggerSink([](const char* text) { s_toDebugger.emplace_back(text); });
    }

    ~LogFixture() override
    {
        Core::Log::m_level = m_level;
        Core::Log::m_zoneMask = m_zones;
        Core::Log::m_ioPipeMask = m_pipes;
        Core::Log::SetFileWriter(nullptr);
        Core::Log::SetDebuggerSink(nullptr);
    }

    [[nodiscard]] std::string InFile() const { return ReadFile(m_folder.File("messages")); }

    /// @return what is printed on the console during `action`
    template <typename Action>
    static std::string OnConsole(Action&& action)
    {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    const TemporaryFolder m_folder;
    const std::shared_ptr<Core::StdioWriter> m_writer =
        std::make_shared<Core::StdioWriter>(m_folder.File("messages"), true, true);
    static inline std::vector<std::string> s_toDebugger;

private:
    const std::uint32_t m_level = Core::Log::m_level;
    const std::uint64_t m_zones = Core::Log::m_zoneMask;
    const std::uint32_t m_pipes = Core::Log::m_ioPipeMask;
};

} // namespace TestSupport
