#pragma once

// All functions that are hooked, in a list for each source file that does so, for `FRAMEGRAB_HOOK`.
//
//     EXPORTED    programs can link it: name, how many arguments it has, observer
//     LOOKED_UP   programs have to look it up, as a function of an extension: name, observer

#define LOOKUP_FUNCTIONS(EXPORTED, LOOKED_UP)                                                                \
    EXPORTED(eglGetProcAddress, 1, ProcAddressQuery)                                                         \
    EXPORTED(glXGetProcAddress, 1, ProcAddressQuery)                                                         \
    EXPORTED(glXGetProcAddressARB, 1, ProcAddressQuery)

#define SWAP_FUNCTIONS(EXPORTED, LOOKED_UP)                                                                  \
    EXPORTED(eglSwapBuffers, 2, Swap)                                                                        \
    EXPORTED(eglSwapBuffersWithDamageKHR, 4, Swap)                                                           \
    EXPORTED(eglSwapBuffersWithDamageEXT, 4, Swap)

#define SURFACE_FUNCTIONS(EXPORTED, LOOKED_UP)                                                               \
    EXPORTED(eglGetPlatformDisplay, 3, DisplayQuery)                                                         \
    LOOKED_UP(eglGetPlatformDisplayEXT, DisplayQuery)                                                        \
    EXPORTED(eglCreateWindowSurface, 4, WindowSurfaceCreation)                                               \
    EXPORTED(eglCreatePlatformWindowSurface, 4, WindowSurfaceCreation)                                       \
    LOOKED_UP(eglCreatePlatformWindowSurfaceEXT, WindowSurfaceCreation)                                      \
    EXPORTED(eglDestroySurface, 2, SurfaceDestruction)

#define GLX_FUNCTIONS(EXPORTED, LOOKED_UP) EXPORTED(glXSwapBuffers, 2, SwapThroughGLX)

#define ERROR_FUNCTIONS(EXPORTED, LOOKED_UP) EXPORTED(glGetError, 0, ErrorQuery)

// Those that draw, and those after which the contents of a framebuffer object may be others.
#define TARGET_FUNCTIONS(EXPORTED, LOOKED_UP)                                                                \
    EXPORTED(eglMakeCurrent, 4, MakeCurrent)                                                                 \
    EXPORTED(glBindFramebuffer, 2, BindFramebuffer)                                                          \
    EXPORTED(glDeleteFramebuffers, 2, Delete<TargetEvent::DeletesFramebuffers>)                              \
    EXPORTED(glDeleteTextures, 2, Delete<TargetEvent::DeletesTextures>)                                      \
    EXPORTED(glDeleteRenderbuffers, 2, Delete<TargetEvent::DeletesRenderbuffers>)                            \
    EXPORTED(glInvalidateFramebuffer, 3, Invalidate)                                                         \
    EXPORTED(glInvalidateSubFramebuffer, 7, Invalidate)                                                      \
    LOOKED_UP(glDiscardFramebufferEXT, Invalidate)                                                           \
    EXPORTED(glFramebufferRenderbuffer, 4, AttachRenderbuffer)                                               \
    EXPORTED(glFramebufferTexture2D, 5, AttachTexture2D)                                                     \
    LOOKED_UP(glFramebufferTexture2DMultisampleEXT, AttachTexture2D)                                         \
    LOOKED_UP(glFramebufferTexture3DOES, AttachTexture2D)                                                    \
    EXPORTED(glFramebufferTexture, 4, AttachTexture)                                                         \
    LOOKED_UP(glFramebufferTextureEXT, AttachTexture)                                                        \
    LOOKED_UP(glFramebufferTextureOES, AttachTexture)                                                        \
    EXPORTED(glFramebufferTextureLayer, 5, AttachTexture)                                                    \
    LOOKED_UP(glFramebufferTextureMultiviewOVR, AttachTexture)                                               \
    EXPORTED(glClear, 1, Draw)                                                                               \
    EXPORTED(glClearBufferfi, 4, Draw)                                                                       \
    EXPORTED(glClearBufferfv, 3, Draw)                                                                       \
    EXPORTED(glClearBufferiv, 3, Draw)                                                                       \
    EXPORTED(glClearBufferuiv, 3, Draw)                                                                      \
    EXPORTED(glBlitFramebuffer, 10, Draw)                                                                    \
    EXPORTED(glDrawArrays, 3, Draw)                                                                          \
    EXPORTED(glDrawArraysIndirect, 2, Draw)                                                                  \
    EXPORTED(glDrawArraysInstanced, 4, Draw)                                                                 \
    EXPORTED(glDrawElements, 4, Draw)                                                                        \
    EXPORTED(glDrawElementsBaseVertex, 5, Draw)                                                              \
    EXPORTED(glDrawElementsIndirect, 3, Draw)                                                                \
    EXPORTED(glDrawElementsInstanced, 5, Draw)                                                               \
    EXPORTED(glDrawElementsInstancedBaseVertex, 6, Draw)                                                     \
    EXPORTED(glDrawRangeElements, 6, Draw)                                                                   \
    EXPORTED(glDrawRangeElementsBaseVertex, 7, Draw)                                                         \
    LOOKED_UP(glBlitFramebufferANGLE, Draw)                                                                  \
    LOOKED_UP(glBlitFramebufferNV, Draw)                                                                     \
    LOOKED_UP(glDrawArraysInstancedANGLE, Draw)                                                              \
    LOOKED_UP(glDrawArraysInstancedEXT, Draw)                                                                \
    LOOKED_UP(glDrawArraysInstancedNV, Draw)                                                                 \
    LOOKED_UP(glDrawArraysInstancedBaseInstanceEXT, Draw)                                                    \
    LOOKED_UP(glDrawElementsBaseVertexEXT, Draw)                                                             \
    LOOKED_UP(glDrawElementsBaseVertexOES, Draw)                                                             \
    LOOKED_UP(glDrawElementsInstancedANGLE, Draw)                                                            \
    LOOKED_UP(glDrawElementsInstancedEXT, Draw)                                                              \
    LOOKED_UP(glDrawElementsInstancedNV, Draw)                                                               \
    LOOKED_UP(glDrawElementsInstancedBaseInstanceEXT, Draw)                                                  \
    LOOKED_UP(glDrawElementsInstancedBaseVertexEXT, Draw)                                                    \
    LOOKED_UP(glDrawElementsInstancedBaseVertexOES, Draw)                                                    \
    LOOKED_UP(glDrawElementsInstancedBaseVertexBaseInstanceEXT, Draw)                                        \
    LOOKED_UP(glDrawRangeElementsBaseVertexEXT, Draw)                                                        \
    LOOKED_UP(glDrawRangeElementsBaseVertexOES, Draw)                                                        \
    LOOKED_UP(glDrawTransformFeedbackEXT, Draw)                                                              \
    LOOKED_UP(glDrawTransformFeedbackInstancedEXT, Draw)                                                     \
    LOOKED_UP(glMultiDrawArraysEXT, Draw)                                                                    \
    LOOKED_UP(glMultiDrawArraysIndirectEXT, Draw)                                                            \
    LOOKED_UP(glMultiDrawElementsEXT, Draw)                                                                  \
    LOOKED_UP(glMultiDrawElementsBaseVertexEXT, Draw)                                                        \
    LOOKED_UP(glMultiDrawElementsIndirectEXT, Draw)
