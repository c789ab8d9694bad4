#include "hooks/ErrorHooks.h"

#include "hooks/Hook.h"
#include "hooks/HookedFunctions.h"

#include <utility>

namespace Framegrab {

namespace {

[[gnu::tls_model("initial-exec")]] constinit thread_local GLenum t_kept = GL_NO_ERROR;

/// `glGetError`
class ErrorQuery
{
public:
    explicit ErrorQuery(const HookedCall& call) : m_call(call) {}

    /// The kept error is older than the driver's, which the program gets the next time that it asks.
    [[nodiscard]] GLenum Return(GLenum error) const
    {
        return t_kept == GL_NO_ERROR || !m_call.IsOutermost() ? error : std::exchange(t_kept, error);
    }

private:
    const HookedCall& m_call;
};

} // namespace

void KeepError(GLenum error) noexcept
{
    if (t_kept == GL_NO_ERROR) {
        t_kept = error;
    }
}

} // namespace Framegrab

using namespace Framegrab;

FRAMEGRAB_HOOK(ERROR_FUNCTIONS, ErrorFunctions)
