#include "FrameList.h"

#include <algorithm>
#include <charconv>

namespace Framegrab {

namespace {

bool ParseNumber(std::string_view text, std::uint64_t& number)
{
    const char* const end = text.data() + text.size();
    const auto [stop, status] = std::from_chars(text.data(), end, number);
    return status == std::errc{} && stop == end && number >= 1 && number <= FrameList::Largest;
}

} // namespace

bool FrameList::Parse(std::string_view text, FrameList& list, std::string& error)
{
    FrameList result;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        const std::string_view item = text.substr(start, end - start);
        start = end + 1;

        const std::size_t dash = item.find('-');
        const bool isRange = dash != std::string_view::npos;
        Range range{};
        if (!ParseNumber(item.substr(0, dash), range.first) ||
            !ParseNumber(isRange ? item.substr(dash + 1) : item, range.last)) {
            error = "\"" + std::string(item) + "\" is neither a frame number (1 to " +
                    std::to_string(Largest) + ") nor a range of them, such as 100-110";
            return false;
        }
        if (range.last < range.first) {
            error = "the range \"" + std::string(item) + "\" runs backwards";
            return false;
        }
        result.AddRange(range);
    }
    list = std::move(result);
    return true;
}

void FrameList::AddRange(Range range)
{
    // Ranges that end before this one begins, and do not touch it, stay as they are; those that overlap or
    // touch it become one with it.
    const auto from = std::partition_point(m_ranges.begin(), m_ranges.end(),
                                           [&](const Range& other) { return other.last + 1 < range.first; });
    auto to = from;
    for (; to != m_ranges.end() && to->first <= range.last + 1; ++to) {
        range.first = std::min(range.first, to->first);
        range.last = std::max(range.last, to->last);
    }
    m_ranges.insert(m_ranges.erase(from, to), range);
}

bool FrameList::Contains(std::uint64_t frame) const
{
    const auto range = std::partition_point(m_ranges.begin(), m_ranges.end(),
                                            [&](const Range& other) { return other.last < frame; });
    return range != m_ranges.end() && range->first <= frame;
}

FrameList FrameList::Without(const FrameList& others) const
{
    FrameList result;
    for (Range range : m_ranges) {
        for (const Range& other : others.m_ranges) {
            if (other.last < range.first || other.first > range.last) {
                continue;
            }
            if (other.first > range.first) {
                result.AddRange({range.first, other.first - 1});
            }
            range.first = other.last + 1;
        }
        if (range.first <= range.last) {
            result.AddRange(range);
        }
    }
    return result;
}

std::uint64_t FrameList::Count() const
{
    std::uint64_t count = 0;
    for (const Range& range : m_ranges) {
        count += range.last - range.first + 1;
    }
    return count;
}

std::string FrameList::ToString() const
{
    std::string text;
    for (const Range& range : m_ranges) {
        text += (text.empty() ? "" : ",") + std::to_string(range.first);
        if (range.last != range.first) {
            text += "-" + std::to_string(range.last);
        }
    }
    return text;
}

} // namespace Framegrab
