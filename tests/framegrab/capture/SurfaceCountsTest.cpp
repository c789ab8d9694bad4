#include "capture/SurfaceCounts.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace Framegrab {

namespace {

/// A program, with surfaces and windows as numbers.
class Program
{
public:
    void MakeWindowSurface(std::uintptr_t surface, std::uintptr_t window)
    {
        m_counts.AfterWindowSurface(EGL_NO_DISPLAY, Handle(surface), window);
    }
    void Destroy(std::uintptr_t surface) { m_counts.BeforeDestruction(EGL_NO_DISPLAY, Handle(surface)); }

    /// @return the frame as "surface/frame"
    std::string Swap(std::uintptr_t surface)
    {
        CountedSurface& counted = m_counts.OfSwap(EGL_NO_DISPLAY, Handle(surface));
        return std::to_string(counted.number) + "/" + std::to_string(++counted.swaps);
    }

    /// @return the frame that a target belongs to which is left while a surface is current
    std::string LeaveTarget(std::uintptr_t surface)
    {
        CountedSurface& counted = m_counts.OfTarget(EGL_NO_DISPLAY, Handle(surface));
        ++counted.targets;
        return std::to_string(counted.number) + "/" + std::to_string(counted.swaps + 1);
    }

    [[nodiscard]] std::uint32_t Targets(std::uintptr_t surface)
    {
        return m_counts.OfSwap(EGL_NO_DISPLAY, Handle(surface)).targets;
    }

private:
    static EGLSurface Handle(std::uintptr_t surface) { return reinterpret_cast<EGLSurface>(surface); }

    SurfaceCounts m_counts;
};

TEST(SurfaceCounts, GiveATargetToTheCurrentSurfaceIfThatShowsFrames)
{
    Program program;
    program.MakeWindowSurface(1, 100);
    program.MakeWindowSurface(2, 200);
    EXPECT_EQ(program.LeaveTarget(1), "0/1"); // of the first surface, whichever that will be
    EXPECT_EQ(program.Targets(2), 1U);
    program.Swap(2);
    EXPECT_EQ(program.LeaveTarget(3), "1/2"); // never swapped, and of no window
    EXPECT_EQ(program.LeaveTarget(1), "2/1");
    EXPECT_EQ(program.Swap(1), "2/1");
    program.Destroy(2);
    EXPECT_EQ(program.LeaveTarget(0), "1/2");
}

} // namespace

} // namespace Framegrab
