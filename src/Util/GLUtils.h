#pragma once

#include "Util/Export.h"

/// @file
/// Translation between OpenGL ES enumerants: which transfer format reads or fills which internal format,
/// which internal format an attachment has, how large a pixel is, which query tells a buffer binding.
///
/// Enumerants are the Khronos values; 0 (`GL_NONE`) means unknown, and is the answer for every value that a
/// function does not know. All functions but `GetBindBuffer` are pure: any thread, no context, no GL call.
namespace Util {

/// Name of the buffer object that is bound to a target, for the general binding point where the target has
/// indexed ones too.
///
/// Needs the calling thread's current context. Changes no GL state, but where the context's version is too
/// early for the target, the query leaves `GL_INVALID_ENUM` to be found by the next `glGetError`.
///
/// @param target  a buffer binding target of OpenGL ES 3.2, e.g. `GL_PIXEL_PACK_BUFFER`
/// @return 0 where nothing is bound and where the query fails; also, without any GL call, for any other
///         target and where the host's dispatch table has no `glGetIntegerv`
/// @see OpenGL ES 3.2, table 6.1
UTIL_EXPORT unsigned int GetBindBuffer(unsigned int target);

/// Bytes that one pixel takes in a block read back from GL.
///
/// @param format  pixel-transfer format
/// @param type    pixel-transfer type
/// @return 4 for `GL_RGBA` with `GL_UNSIGNED_BYTE`; 16 for `GL_RGBA` with `GL_FLOAT`, `GL_INT` or
///         `GL_UNSIGNED_INT`; 0 for every other layout: the image writer does not take it
/// @see OpenGL ES 3.1, section 16.1.2
UTIL_EXPORT unsigned int GetPitch(unsigned int format, unsigned int type);

/// Transfer format and type with which `glReadPixels` reads a colour buffer.
///
/// `GL_RGBA` goes with `GL_FLOAT` for floating-point formats, `GL_RGBA_INTEGER` with `GL_INT` or
/// `GL_UNSIGNED_INT` for integer ones, and `GL_RGBA` with `GL_UNSIGNED_BYTE` for everything else, unknown
/// values included. `GetPitch` is 0 for the integer ones.
///
/// @param internalFormat  sized or unsized internal format of the buffer; 0 for the default framebuffer's
/// @param format  where to put the format; may be null
/// @param type    where to put the type; may be null
/// @see OpenGL ES 3.1, section 16.1.2, and EXT_texture_storage for the float formats with alpha or luminance
UTIL_EXPORT void GetReadPixelFormatType(unsigned int internalFormat, unsigned int* format,
                                        unsigned int* type);

/// A texture into which a depth, stencil or depth-stencil buffer can be copied by `glBlitFramebuffer`.
///
/// 32 depth bits are taken as floating-point. A fixed-point buffer of 32 bits reports the same number, so
/// that its copy may be refused.
///
/// @param depthBits       0, 16, 24 or 32
/// @param stencilBits     0 or 8; 8 goes with 0, 24 and 32 depth bits only
/// @param internalFormat  where to put the sized internal format; may be null
/// @param format          where to put the transfer format for `glTexImage2D`; may be null
/// @param type            where to put the transfer type for `glTexImage2D`; may be null
/// @note An unknown pair of sizes, (0, 0) among them, writes 0 to all three.
/// @see OpenGL ES 3.2, tables 8.2 and 8.11
UTIL_EXPORT void GetDepthStencilFormatType(int depthBits, int stencilBits, unsigned int* internalFormat,
                                           unsigned int* format, unsigned int* type);

/// Whether this internal format leaves the sizes of its components to the driver: `GL_RGBA`, but not
/// `GL_RGBA8`. True for the base formats of colour, depth and depth-stencil, the luminance and alpha ones of
/// OpenGL ES 2.0 and the four integer transfer formats; false for `GL_STENCIL_INDEX`, `GL_GREEN`, `GL_BLUE`.
///
/// @see OpenGL ES 3.2, table 8.3
UTIL_EXPORT bool IsUnsizedInternalFormat(unsigned int internalFormat);

/// Base format of a colour buffer whose components have these sizes in bits; only zero or not matters.
///
/// The components count up to the first that is missing: without green there is only red, without blue red
/// and green, without alpha those three.
///
/// @return `GL_RED`, `GL_RG`, `GL_RGB` or `GL_RGBA`; 0 without red
UTIL_EXPORT unsigned int GetFormatFromRGBAComponentSizes(unsigned int redSize, unsigned int greenSize,
                                                         unsigned int blueSize, unsigned int alphaSize);

/// Internal format of a colour attachment, from what GL reports about its components.
///
/// Sizes are compared for the components of the base format (`GetFormatFromRGBAComponentSizes`) only, and of
/// the types only the red one counts. With 8 bits `GL_UNSIGNED_NORMALIZED` stands for the formats that
/// `GL_RGBA8` and its siblings share their sizes with: `GL_SRGB8_ALPHA8` and `GL_SRGB8`, and, where there is
/// no sRGB format, `GL_RG8_SNORM` and `GL_R8_SNORM`; the plain ones are for a type of 0.
///
/// @param redSize, greenSize, blueSize, alphaSize  bits, as `GL_TEXTURE_RED_SIZE` and its siblings tell
/// @param redType  `GL_FLOAT`, `GL_INT`, `GL_UNSIGNED_INT`, `GL_SIGNED_NORMALIZED` or
///                 `GL_UNSIGNED_NORMALIZED`, as `GL_TEXTURE_RED_TYPE` tells; 0 for the default framebuffer
/// @param greenType, blueType, alphaType  ignored
/// @return a sized internal format; the base format where no format has these sizes and this type; 0 where
///         there is no base format
/// @see OpenGL ES 3.2, table 8.10
UTIL_EXPORT unsigned int GetInternalFormatFromRGBAComponentInfo(unsigned int redSize, unsigned int greenSize,
                                                                unsigned int blueSize, unsigned int alphaSize,
                                                                unsigned int redType, unsigned int greenType,
                                                                unsigned int blueType,
                                                                unsigned int alphaType);

/// Transfer format that fills a texture of a sized internal format.
///
/// Known are the sized formats of OpenGL ES 3.0, `GL_STENCIL_INDEX8`, and the compressed ones of ETC1, ETC2,
/// EAC, ASTC, ATC and 3DC.
///
/// @return for a compressed format and for `GL_STENCIL_INDEX8` the internal format itself; 0 where unknown,
///         as every unsized format is
/// @see OpenGL ES 3.2, tables 8.2 and 8.17
UTIL_EXPORT unsigned int GetFormatFromInternalFormat(unsigned int internalFormat);

/// Transfer type that goes with `GetFormatFromInternalFormat`, for the same formats.
///
/// @return `GL_UNSIGNED_BYTE` for a compressed format; 0 where unknown
UTIL_EXPORT unsigned int GetTypeFromInternalFormat(unsigned int internalFormat);

/// Sized internal format of a texture that is filled with this transfer format and type.
///
/// Known for `GL_RGB`, `GL_RGBA`, `GL_DEPTH_COMPONENT`, `GL_DEPTH_STENCIL` and `GL_STENCIL_INDEX`. It is not
/// quite the inverse of the two functions above: `GL_DEPTH_COMPONENT` with `GL_UNSIGNED_INT` gives
/// `GL_DEPTH_COMPONENT32_OES`, which these do not know, and the sRGB formats are never the answer.
///
/// @return 0 where unknown
/// @see OpenGL ES 3.2, table 8.2; OES_texture_half_float, EXT_texture_type_2_10_10_10_REV, OES_depth32
UTIL_EXPORT unsigned int GetInternalFormat(unsigned int format, unsigned int type);

} // namespace Util
