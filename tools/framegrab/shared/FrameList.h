#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Framegrab {

/// A set of frame numbers. A frame is one swap of a process; the first has the number 1. A list with an open
/// range has no last frame.
class FrameList
{
public:
    /// Largest frame number that a list may hold.
    static constexpr std::uint64_t Largest = 999'999'999;

    /// Most frames that a range with a step and an end may have: they are kept one by one.
    static constexpr std::uint64_t MostSteps = 100'000;

    /// Reads numbers and ranges separated by commas, e.g. "1,60,100-110". A range may have no end ("60-") and
    /// a step ("60-/10", "60-100/10": every tenth frame from the 60th). Order and repeats do not matter.
    ///
    /// @param error  what is wrong with the text, in words; untouched on success
    /// @return whether `text` is such a list; `list` is changed only then
    static bool Parse(std::string_view text, FrameList& list, std::string& error);

    [[nodiscard]] bool Contains(std::uint64_t frame) const;
    void Add(std::uint64_t frame) { AddRange({frame, frame}); }

    /// Adds the frames of another list without open ranges.
    void Add(const FrameList& others);

    /// @return the list with each open range cut down to its first frame
    [[nodiscard]] FrameList Closed() const;

    /// @param others  a list without open ranges
    /// @return the frames of this list, which has none either, that are not in `others`
    [[nodiscard]] FrameList Without(const FrameList& others) const;

    [[nodiscard]] bool IsEmpty() const { return m_ranges.empty() && m_openRanges.empty(); }
    [[nodiscard]] bool IsOpen() const { return !m_openRanges.empty(); }

    /// Of a list that is not empty.
    [[nodiscard]] std::uint64_t First() const { return Closed().m_ranges.front().first; }

    /// Of a list without open ranges.
    [[nodiscard]] std::uint64_t Count() const;
    [[nodiscard]] std::uint64_t Last() const { return m_ranges.back().last; }

    [[nodiscard]] bool IsLast(std::uint64_t frame) const
    {
        return !IsOpen() && !IsEmpty() && frame == m_ranges.back().last;
    }

    /// A text that `Parse` reads: ascending, open ranges last.
    [[nodiscard]] std::string ToString() const;

private:
    struct Range
    {
        std::uint64_t first;
        std::uint64_t last;
    };

    struct OpenRange
    {
        std::uint64_t first;
        std::uint64_t step;
    };

    bool ParseItem(std::string_view item, std::string& error);
    void AddRange(Range range);

    std::vector<Range> m_ranges; ///< ascending, neither overlapping nor touching
    std::vector<OpenRange> m_openRanges;
};

} // namespace Framegrab
