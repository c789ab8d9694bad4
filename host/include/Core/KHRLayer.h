#pragma once

#include "Core/Export.h"

namespace Core {

/// The driver's entry points.
///
/// A table is an array of function addresses in the order in which the Khronos headers declare the functions;
/// an entry is null where the driver, or the version of the current context, has no such function. Both calls
/// are cheap, have no side effect and may be made from any thread; what they return belongs to the calling
/// thread's current context and is good until another context becomes current.
class CORE_EXPORT KHRLayer
{
public:
    /// OpenGL ES 2.0 at 0 to 141 (gl2.h), 3.0 at 142 to 245 (gl3.h), a null entry at 246, 3.1 at 247 to 314
    /// (gl31.h).
    ///
    /// A table has all 315 entries, whatever the version: those of later ones are null. Only where window
    /// surfaces alone are captured, at full size, may it end with OpenGL ES 3.0: no entry past 245 is read
    /// for them.
    ///
    /// @return the address of entry 0; never null
    static void* const* GLESProc();

    /// EGL 1.0 at 0 to 23 (the `EGL_VERSION_1_0` block of egl.h), all of them.
    ///
    /// @return the address of entry 0; never null
    static void* const* EGLProc();
};

} // namespace Core
