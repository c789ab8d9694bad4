#pragma once

#include "Util/GLDispatch.h"

#include <cstdint>
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

/// One function that the library knows.
struct DispatchEntry
{
    Table table;
    std::size_t position;
    std::string name; ///< with its prefix: "glReadPixels"
};

/// Every function that the library may call, GL before EGL, each in the order of its table.
const std::vector<DispatchEntry>& DispatchEntries();

/// Makes an entry null. The same entry may be withheld more than once.
class [[nodiscard]] WithheldEntry
{
public:
    /// @throws std::out_of_range where neither table has a function of that name
    explicit WithheldEntry(std::string_view name);
    WithheldEntry(Table table, std::size_t position);
    template <void* const* (*Accessor)(), std::size_t Position, typename Function>
    explicit WithheldEntry(const Util::EntryPoint<Accessor, Position, Function>& /*entry*/)
        : WithheldEntry(TableOf<Accessor>, Position)
    {}
    WithheldEntry(const WithheldEntry&) = delete;
    WithheldEntry& operator=(const WithheldEntry&) = delete;
    ~WithheldEntry();

private:
    Table m_table;
    std::size_t m_position;
};

/// Gives the library the table of an earlier version than the context's, e.g. 20: what is newer is null.
/// 0 is the table where no context is current.
class [[nodiscard]] OfferedVersion
{
public:
    explicit OfferedVersion(int version);
    OfferedVersion(const OfferedVersion&) = delete;
    OfferedVersion& operator=(const OfferedVersion&) = delete;
    ~OfferedVersion();

private:
    int m_previous;
};

/// Puts another function in an entry's place and returns the one that was there.
///
/// @param function  null for the driver's own
void* ExchangeEntry(Table table, std::size_t position, void* function);

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

/// One call that the library made.
struct Call
{
    std::string name; ///< with its prefix: "glReadPixels"

    /// Integers and enumerants by value, pointers by address.
    std::vector<std::int64_t> arguments;
};

/// Notes every call of the library, then lets it go on to the driver or the replacement. One at a time.
class [[nodiscard]] CallRecorder
{
public:
    CallRecorder();
    CallRecorder(const CallRecorder&) = delete;
    CallRecorder& operator=(const CallRecorder&) = delete;
    ~CallRecorder();

    /// In the order made. Calls of several threads are all noted; read them when these have ended.
    [[nodiscard]] const std::vector<Call>& Calls() const { return m_calls; }

    /// Calls through the GL table, without those through the EGL table.
    [[nodiscard]] std::size_t CountGL() const;

private:
    std::vector<Call> m_calls;
};

} // namespace TestSupport
