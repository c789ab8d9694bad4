#include "shared/FrameList.h"

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
        if (!result.ParseItem(text.substr(start, end - start), error)) {
            return false;
        }
        start = end + 1;
    }
    list = std::move(result);
    return true;
}

bool FrameList::ParseItem(std::string_view item, std::string& error)
{
    const std::string quoted = "\"" + std::string(item) + "\"";
    const std::size_t dash = item.find('-');
    const bool isRange = dash != std::string_view::npos;
    const std::size_t slash = isRange ? item.find('/', dash) : std::string_view::npos;
    const bool hasStep = slash != std::string_view::npos;
    const std::string_view end = isRange ? item.substr(dash + 1, slash - dash - 1) : item;

    Range range{};
    std::uint64_t step = 1;
    if (!ParseNumber(item.substr(0, dash), range.first) || (!end.empty() && !ParseNumber(end, range.last)) ||
        (hasStep && !ParseNumber(item.substr(slash + 1), step))) {
        error = quoted + " is neither a frame number (1 to " + std::to_string(Largest) +
                ") nor a range of them, such as 100-110, 60- or 60-/10";
        return false;
    }
    if (end.empty()) {
        m_openRanges.push_back({range.first, step});
        return true;
    }
    if (range.last < range.first) {
        error = "the range " + quoted + " runs backwards";
        return false;
    }
    if (step == 1) {
        AddRange(range);
        return true;
    }
    if ((range.last - range.first) / step >= MostSteps) {
        error = "the range " + quoted + " has more than " + std::to_string(MostSteps) +
                " steps; leave its end open";
        return false;
    }
    for (std::uint64_t frame = range.first; frame <= range.last; frame += step) {
        Add(frame);
    }
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
    return (range != m_ranges.end() && range->first <= frame) ||
           std::any_of(m_openRanges.begin(), m_openRanges.end(), [&](const OpenRange& open) {
               return frame >= open.first && (frame - open.first) % open.step == 0;
           });
}

void FrameList::Add(const FrameList& others)
{
    for (const Range& range : others.m_ranges) {
        AddRange(range);
    }
}

FrameList FrameList::Closed() const
{
    FrameList result;
    result.m_ranges = m_ranges;
    for (const OpenRange& open : m_openRanges) {
        result.Add(open.first);
    }
    return result;
}

FrameList FrameList::Without(const FrameList& others) const
{
    FrameList result;
    auto other = others.m_ranges.begin();
    for (Range range : m_ranges) {
        while (other != others.m_ranges.end() && other->last < range.first) {
            ++other;
        }
        // The last one that cuts this range may cut the next one as well.
        for (auto cut = other; cut != others.m_ranges.end() && cut->first <= range.last; ++cut) {
            if (cut->first > range.first) {
                result.AddRange({range.first, cut->first - 1});
            }
            range.first = cut->last + 1;
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
    const auto add = [&](std::uint64_t first, std::string_view dash, std::uint64_t last, std::uint64_t step) {
        text += (text.empty() ? "" : ",") + std::to_string(first) + std::string(dash);
        text += last != 0 ? std::to_string(last) : "";
        text += step != 1 ? "/" + std::to_string(step) : "";
    };
    for (auto range = m_ranges.begin(); range != m_ranges.end(); ++range) {
        // Single frames at equal distances, three or more, are a range with a step.
        const auto isSingle = [&](auto other) {
            return other != m_ranges.end() && other->first == other->last;
        };
        const std::uint64_t step = isSingle(range) && isSingle(range + 1) ? range[1].first - range->first : 0;
        auto end = range;
        while (step != 0 && isSingle(end + 1) && end[1].first - end->first == step) {
            ++end;
        }
        if (end - range >= 2) {
            add(range->first, "-", end->first, step);
            range = end;
        } else if (range->first == range->last) {
            add(range->first, "", 0, 1);
        } else {
            add(range->first, "-", range->last, 1);
        }
    }
    for (const OpenRange& open : m_openRanges) {
        add(open.first, "-", 0, open.step);
    }
    return text;
}

} // namespace Framegrab
