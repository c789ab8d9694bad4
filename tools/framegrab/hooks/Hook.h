#pragma once

#include "hooks/Lookup.h"

#include <array>
#include <atomic>
#include <concepts>
#include <cstddef>
#include <span>
#include <tuple>
#include <type_traits>
#include <utility>

/// What stands between a program and a function of its driver. Like all of the hook library, this needs
/// nothing but the C library: it works in processes of any kind, also before their constructors and inside
/// the start of their memory allocator.
///
/// A program gets at a function in three ways, and each is seen to: it links the function (the one exported
/// here comes before the driver's), looks it up with dlsym, or asks eglGetProcAddress.
///
/// HookedFunctions.h lists the functions, and names for each the observer that is made for a call before it
/// goes on to the driver. The arguments come from the function's prototype.
namespace Framegrab {

/// A call that came to a hook, until the driver's function has returned.
///
/// A driver may be layered on another one, and may have found that one's functions through the hooks as well.
/// So of the calls that are under way on a thread, only the outermost is the program's.
class HookedCall
{
public:
    explicit HookedCall(void* driverFunction)
        : m_driverFunction(driverFunction), m_isOutermost(s_depth++ == 0)
    {}
    HookedCall(const HookedCall&) = delete;
    HookedCall& operator=(const HookedCall&) = delete;
    ~HookedCall() { --s_depth; }

    /// The driver's function that is called.
    [[nodiscard]] void* DriverFunction() const { return m_driverFunction; }

    [[nodiscard]] bool IsOutermost() const { return m_isOutermost; }

private:
    [[gnu::tls_model("initial-exec")]] static inline constinit thread_local int s_depth = 0;
    void* const m_driverFunction;
    const bool m_isOutermost;
};

/// An observer whose `Return` makes of the driver's result what the program gets.
template <typename Observer, typename Result>
concept SeesResult = requires(Observer& observer, Result result)
{
    {
        observer.Return(result)
        } -> std::same_as<Result>;
};

/// The hooks for one function.
///
/// @tparam Prototype  its address
/// @tparam Observer   is made from the `HookedCall` and the arguments, and lives until the driver is done
template <auto Prototype, typename Observer, typename = decltype(Prototype)>
class Hook;

template <auto Prototype, typename Observer, typename Result, typename... Arguments>
class Hook<Prototype, Observer, Result (*)(Arguments...)>
{
public:
    using ResultType = Result;
    template <std::size_t I>
    using Argument = std::tuple_element_t<I, std::tuple<Arguments...>>;

    /// The hook for a driver's function. Each function that turns up under the name, such as those of two
    /// drivers in one process, gets a hook of its own, which knows what to call.
    ///
    /// @return the function itself when it is a hook or all hooks are taken
    static void* For(void* function)
    {
        const auto real = reinterpret_cast<Function>(function);
        for (const Function hook : All) {
            if (hook == real) {
                return function;
            }
        }
        for (std::size_t i = 0; i < Size; ++i) {
            Function taken = nullptr;
            if (s_real[i].compare_exchange_strong(taken, real) || taken == real) {
                return reinterpret_cast<void*>(All[i]);
            }
        }
        return function;
    }

    /// What the function does that is exported under the name.
    ///
    /// @return 0 where no library has the function
    static Result CallExported(const char* name, Arguments... arguments)
    {
        Function hook = s_hookOfExported.load(std::memory_order_relaxed);
        if (!hook) {
            void* const function = FindDriverFunction(name);
            hook = function ? reinterpret_cast<Function>(For(function)) : nullptr;
            KeepLoaded(function); // closed and opened again, it might be at another address
            s_hookOfExported.store(hook, std::memory_order_relaxed);
        }
        return hook ? hook(arguments...) : Result();
    }

    /// The address of the function that is exported under the name.
    static void* Exported() { return reinterpret_cast<void*>(Prototype); }

private:
    using Function = Result (*)(Arguments...);
    static constexpr std::size_t Size = 8;

    template <std::size_t I>
    static Result Run(Arguments... arguments)
    {
        const Function real = s_real[I].load(std::memory_order_relaxed);
        const HookedCall call(reinterpret_cast<void*>(real));
        [[maybe_unused]] Observer observer(call, arguments...);
        if constexpr (SeesResult<Observer, Result>) {
            return observer.Return(real(arguments...));
        } else {
            return real(arguments...);
        }
    }

    template <std::size_t... I>
    static constexpr std::array<Function, Size> MakeAll(std::index_sequence<I...>)
    {
        return {&Run<I>...};
    }

    static constexpr std::array<Function, Size> All = MakeAll(std::make_index_sequence<Size>{});
    static inline std::atomic<Function> s_real[Size]{};
    static inline std::atomic<Function> s_hookOfExported{};
};

} // namespace Framegrab

#define FRAMEGRAB_EXPORT extern "C" __attribute__((visibility("default")))

// The parameters of a function, typed by its hook, and the arguments in the same order. Macros, since only
// they can define a function of a given name.
#define FRAMEGRAB_PARAMETERS_0(hook)
#define FRAMEGRAB_PARAMETERS_1(hook) hook::Argument<0> a0
#define FRAMEGRAB_PARAMETERS_2(hook) FRAMEGRAB_PARAMETERS_1(hook), hook::Argument<1> a1
#define FRAMEGRAB_PARAMETERS_3(hook) FRAMEGRAB_PARAMETERS_2(hook), hook::Argument<2> a2
#define FRAMEGRAB_PARAMETERS_4(hook) FRAMEGRAB_PARAMETERS_3(hook), hook::Argument<3> a3
#define FRAMEGRAB_PARAMETERS_5(hook) FRAMEGRAB_PARAMETERS_4(hook), hook::Argument<4> a4
#define FRAMEGRAB_PARAMETERS_6(hook) FRAMEGRAB_PARAMETERS_5(hook), hook::Argument<5> a5
#define FRAMEGRAB_PARAMETERS_7(hook) FRAMEGRAB_PARAMETERS_6(hook), hook::Argument<6> a6
#define FRAMEGRAB_PARAMETERS_8(hook) FRAMEGRAB_PARAMETERS_7(hook), hook::Argument<7> a7
#define FRAMEGRAB_PARAMETERS_9(hook) FRAMEGRAB_PARAMETERS_8(hook), hook::Argument<8> a8
#define FRAMEGRAB_PARAMETERS_10(hook) FRAMEGRAB_PARAMETERS_9(hook), hook::Argument<9> a9
#define FRAMEGRAB_ARGUMENTS_0
#define FRAMEGRAB_ARGUMENTS_1 , a0
#define FRAMEGRAB_ARGUMENTS_2 FRAMEGRAB_ARGUMENTS_1, a1
#define FRAMEGRAB_ARGUMENTS_3 FRAMEGRAB_ARGUMENTS_2, a2
#define FRAMEGRAB_ARGUMENTS_4 FRAMEGRAB_ARGUMENTS_3, a3
#define FRAMEGRAB_ARGUMENTS_5 FRAMEGRAB_ARGUMENTS_4, a4
#define FRAMEGRAB_ARGUMENTS_6 FRAMEGRAB_ARGUMENTS_5, a5
#define FRAMEGRAB_ARGUMENTS_7 FRAMEGRAB_ARGUMENTS_6, a6
#define FRAMEGRAB_ARGUMENTS_8 FRAMEGRAB_ARGUMENTS_7, a7
#define FRAMEGRAB_ARGUMENTS_9 FRAMEGRAB_ARGUMENTS_8, a8
#define FRAMEGRAB_ARGUMENTS_10 FRAMEGRAB_ARGUMENTS_9, a9

#define FRAMEGRAB_EXPORT_HOOK(name, count, observer)                                                         \
    using HookOf_##name = Framegrab::Hook<&(name), observer>;                                                \
    FRAMEGRAB_EXPORT HookOf_##name::ResultType name(FRAMEGRAB_PARAMETERS_##count(HookOf_##name))             \
    {                                                                                                        \
        return HookOf_##name::CallExported(#name FRAMEGRAB_ARGUMENTS_##count);                               \
    }
#define FRAMEGRAB_EXPORT_NOTHING(name, observer)

#define FRAMEGRAB_EXPORTED_ROW(name, count, observer) {#name, &HookOf_##name::For, &HookOf_##name::Exported},
#define FRAMEGRAB_LOOKED_UP_ROW(name, observer) {#name, &Framegrab::Hook<&(name), observer>::For, nullptr},

/// Exports what a list of functions says, and defines the function that gives its rows. At the end of a
/// source file, in no namespace.
#define FRAMEGRAB_HOOK(list, rows)                                                                           \
    list(FRAMEGRAB_EXPORT_HOOK, FRAMEGRAB_EXPORT_NOTHING) std::span<const Framegrab::HookedFunction>         \
    Framegrab::rows() noexcept                                                                               \
    {                                                                                                        \
        static constexpr HookedFunction Rows[]{list(FRAMEGRAB_EXPORTED_ROW, FRAMEGRAB_LOOKED_UP_ROW)};       \
        return Rows;                                                                                         \
    }
