#pragma once

#include <cstdint>

/// The PNG files that writers of this process have open, and the `SIGABRT` handler that is installed while
/// there are any. Any thread.
namespace Util::OpenPNGFiles {

/// Stands for one open file.
using Ticket = std::uint64_t;

constexpr Ticket NoTicket = 0;

/// Counts a file that is about to be written; `Remove` follows.
///
/// @return never `NoTicket`
Ticket Add();

/// Installs the handler, unless another file has already.
///
/// @param handler  the same for every file
void InstallHandler(void (*handler)(int));

/// After the last file, the disposition found when the handler was installed is back, unless somebody else
/// has installed another meanwhile.
void Remove();

[[nodiscard]] bool AreThereAny();

/// @return whether no other file has been open since this one was counted; for `NoTicket`, whether none is
[[nodiscard]] bool IsAlone(Ticket ticket);

/// Called by the handler. Where the disposition found before the first file was a function, puts it back and
/// raises the signal again: it comes there as soon as the handler has returned. Async-signal-safe.
void HandAbortOn();

} // namespace Util::OpenPNGFiles
