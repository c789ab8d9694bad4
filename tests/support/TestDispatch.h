#pragma once

#include "Util/GLDispatch.h"

#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// The dispatch tables that the library under test sees. They are the real driver's for the current context,
/// changed by the objects below for as long as each one lives; the tests' own GL calls do not go through
/// them.
namespace TestSupport {

enum class Table
{
    GL,
    EGL
};

/// The table that an accessor returns.
template <void* const* (*Accessor)()>
inline constexpr Table TableOf = Table::GL;
template <>
inline constexpr Table TableOf<&Core::KHRLayer::EGLProc> = Table::EGL;

/// Every function that the library may call: "glReadPixels" and the like.
const std::vector<std::string>& DispatchNames();

/// Puts another function in an entry's place and returns the one that was there.
///
/// @param function  null for the driver's own
void* ExchangeEntry(Table table, std::size_t position, void* function);

/// Makes an entry null.
class [[nodiscard]] WithheldEntry
{
public:
    /// @throws std::out_of_range where neither table has a function of that name
    explicit WithheldEntry(std::string_view name);
    WithheldEntry(const WithheldEntry&) = delete;
    WithheldEntry& operator=(const WithheldEntry&) = delete;
    ~WithheldEntry() { ExchangeEntry(m_table, m_position, m_previous); }

private:
    Table m_table = Table::GL;
    std::size_t m_position = 0;
    void* m_previous = nullptr;
};

/// Gives the library the table of an earlier version than the context's, e.g. 20: what is newer is null.
class [[nodiscard]] OfferedVersion
{
public:
    explicit OfferedVersion(int version);
    OfferedVersion(const OfferedVersion&) = delete;
    OfferedVersion& operator=(const OfferedVersion&) = delete;
    ~OfferedVersion();
};

/// Puts a function of the test's own in an entry's place. It may call the driver's by its plain name:
///
/// ```cpp
/// const ReplacedEntry blit(Util::GL::BlitFramebuffer, [&](auto... arguments) {
///     ++blits;
///     glBlitFramebuffer(arguments...);
/// });
/// ```
template <void* const* (*Accessor)(), std::size_t Position, typename Result, typename... Arguments>
class [[nodiscard]] ReplacedEntry
{
public:
    using Function = std::function<Result(Arguments...)>;

    ReplacedEntry(const Util::EntryPoint<Accessor, Position, Result (*)(Arguments...)>& /*entry*/,
                  std::type_identity_t<Function> function)
        : m_previousFunction(std::exchange(s_function, std::move(function))),
          m_previousEntry(ExchangeEntry(TableOf<Accessor>, Position, reinterpret_cast<void*>(&Call)))
    {}
    ReplacedEntry(const ReplacedEntry&) = delete;
    ReplacedEntry& operator=(const ReplacedEntry&) = delete;
    ~ReplacedEntry()
    {
        ExchangeEntry(TableOf<Accessor>, Position, m_previousEntry);
        s_function = std::move(m_previousFunction);
    }

private:
    static Result Call(Arguments... arguments) { return s_function(arguments...); }

    static inline Function s_function;
    Function m_previousFunction;
    void* m_previousEntry;
};

/// Counts the calls that the library makes through the GL table, and lets each go on to the driver or the
/// replacement. One at a time, on one thread.
class [[nodiscard]] CallCounter
{
public:
    CallCounter();
    CallCounter(const CallCounter&) = delete;
    CallCounter& operator=(const CallCounter&) = delete;
    ~CallCounter();

    [[nodiscard]] std::size_t Count() const { return m_count; }

private:
    std::size_t m_count = 0;
};

} // namespace TestSupport
