#include "capture/SurfaceCounts.h"

#include <algorithm>

namespace Framegrab {

void SurfaceCounts::AfterWindowSurface(EGLDisplay display, EGLSurface surface, std::uintptr_t window)
{
    std::shared_ptr<CountedSurface>& counted = m_byWindow[{display, window}];
    if (!counted) {
        counted = std::make_shared<CountedSurface>();
    }
    m_byHandle[{display, surface}] = counted;
}

void SurfaceCounts::BeforeDestruction(EGLDisplay display, EGLSurface surface)
{
    m_byHandle.erase({display, surface});
}

CountedSurface& SurfaceCounts::OfSwap(EGLDisplay display, EGLSurface surface)
{
    std::shared_ptr<CountedSurface>& counted = m_byHandle[{display, surface}];
    if (!counted) {
        counted = std::make_shared<CountedSurface>();
    }
    if (counted->number == 0) {
        if (m_numbered.empty()) {
            *counted = m_firstToCome;
        }
        m_numbered.push_back(counted);
        counted->number = static_cast<std::uint32_t>(m_numbered.size());
    }
    return *counted;
}

CountedSurface& SurfaceCounts::OfTarget(EGLDisplay display, EGLSurface surface)
{
    if (m_numbered.empty()) {
        return m_firstToCome;
    }
    // One that is known without a number is of a window, and about to be swapped for the first time.
    return m_byHandle.contains({display, surface}) ? OfSwap(display, surface) : *m_numbered.front();
}

const CountedSurface* SurfaceCounts::OfNumber(std::uint32_t number) const
{
    return number <= m_numbered.size() ? m_numbered[number - 1].get() : nullptr;
}

bool SurfaceCounts::Any(const std::function<bool(const CountedSurface&)>& holds) const
{
    return holds(m_numbered.empty() ? m_firstToCome : *m_numbered.front()) ||
           std::any_of(m_byHandle.begin(), m_byHandle.end(),
                       [&](const auto& known) { return holds(*known.second); });
}

} // namespace Framegrab
