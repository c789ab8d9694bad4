#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Framegrab {

/// A set of frame numbers, kept as ranges. A frame is one swap of a process; the first has the number 1.
class FrameList
{
public:
    /// Largest frame number that a list may hold.
    static constexpr std::uint64_t Largest = 999'999'999;

    /// Reads numbers and ranges separated by commas, e.g. "1,60,100-110". Order and repeats do not matter.
    ///
    /// @param error  what is wrong with the text, in words; untouched on success
    /// @return whether `text` is such a list; `list` is changed only then
    static bool Parse(std::string_view text, FrameList& list, std::string& error);

    [[nodiscard]] bool Contains(std::uint64_t frame) const;
    void Add(std::uint64_t frame) { AddRange({frame, frame}); }

    /// @return the frames of this list that are not in `others`
    [[nodiscard]] FrameList Without(const FrameList& others) const;

    [[nodiscard]] bool IsEmpty() const { return m_ranges.empty(); }
    [[nodiscard]] std::uint64_t Count() const;

    /// Of a list that is not empty.
    [[nodiscard]] std::uint64_t First() const { return m_ranges.front().first; }
    [[nodiscard]] std::uint64_t Last() const { return m_ranges.back().last; }

    /// The text that `Parse` reads, in ascending order.
    [[nodiscard]] std::string ToString() const;

private:
    struct Range
    {
        std::uint64_t first;
        std::uint64_t last;
    };

    void AddRange(Range range);

    std::vector<Range> m_ranges; ///< ascending, neither overlapping nor touching
};

} // namespace Framegrab
