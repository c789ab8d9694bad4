#pragma once

#include "Util/Export.h"

#include <string>

/// File-system paths: access tests, folders, and the parts of a path's name.
///
/// Both `/` and `\` separate names in every function that looks for a separator; to the file system itself
/// `\` is a byte like any other. The functions keep no state, may be called from any thread and throw
/// nothing: where memory runs out, a text is empty and an operation fails. None logs.
namespace Util::Path {

/// @return whether `access` finds something at the path; a link counts as what it points to
UTIL_EXPORT bool Exists(const std::string& path);

/// @return whether the process may write to what is at the path, by its real user
UTIL_EXPORT bool IsWritable(const std::string& path);

/// @return whether the process may read what is at the path, by its real user
UTIL_EXPORT bool IsReadable(const std::string& path);

/// Makes a folder and those above it that are missing: one `mkdir`, with the mode 0707 less the umask, for
/// the part before each separator and for the whole. A part that exists already is passed over, whatever it
/// is.
///
/// Since a part ends at a `\` too, `a\b` makes the folders `a` and `a\b`, side by side.
///
/// @param path  relative, at most 4095 bytes; one that begins with a separator is refused, as the part before
///              it has no name
/// @return whether every part exists now; if not, `errno` is as `mkdir` left it (`ENAMETOOLONG` for a path
///         too long, `EINVAL` for one with a NUL in it), and folders made on the way stay
UTIL_EXPORT bool CreateFolder(const std::string& path);

/// Removes a folder with everything in it, however deep, with at most 18 file descriptors, or 3 where the
/// process has no more.
///
/// A symbolic link in the folder is removed and what it points to left alone, also where another process puts
/// the link there during the call. So is a folder that another file system is mounted on: the call fails
/// there.
///
/// @param path  the folder itself, with separators `/` behind it or not. A link to a folder, a file, the
///              root, and a path that ends in `.` or `..` are refused, and nothing is deleted.
/// @return whether the folder is gone; if not, `errno` is as the call that failed left it (`ESTALE` when a
///         folder was moved elsewhere meanwhile, `EINVAL` for a path with a NUL in it), and what was not yet
///         removed stays
UTIL_EXPORT bool DeleteFolder(const std::string& path);

/// @return what is before the last separator; empty where there is none
UTIL_EXPORT std::string GetDirectory(const std::string& path);

/// @return the last `.` of the whole path, folders included, and what is behind it (`.d/file` for
///         `dir.d/file`); the whole path where there is none
UTIL_EXPORT std::string GetExtension(const std::string& path);

/// @return what is before the last `.` of the whole path, folders included; the whole path where there is
///         none
UTIL_EXPORT std::string RemoveExtension(const std::string& path);

/// @return what is behind the last separator; the whole path where there is none
UTIL_EXPORT std::string GetFilename(const std::string& path);

/// @return the file name without its extension; a `.` in a folder's name does not count
UTIL_EXPORT std::string GetFilePart(const std::string& path);

} // namespace Util::Path
