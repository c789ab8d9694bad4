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
        if (m_count == 0) {
            *counted = *m_first;
            m_first = counted;
        }
        counted->number = ++m_count;
    }
    return *counted;
}

CountedSurface& SurfaceCounts::OfTarget(EGLDisplay display, EGLSurface surface)
{
    const auto known = m_byHandle.find({display, surface});
    if (known == m_byHandle.end() || m_count == 0) {
        return *m_first;
    }
    // A window that was not swapped yet is about to be.
    return OfSwap(display, surface);
}

bool SurfaceCounts::Any(const std::function<bool(const CountedSurface&)>& holds) const
{
    return holds(*m_first) || std::any_of(m_byHandle.begin(), m_byHandle.end(),
                                          [&](const auto& known) { return holds(*known.second); });
}

} // namespace Framegrab
