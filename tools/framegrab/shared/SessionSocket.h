#pragma once

#include <cstdint>
#include <string>

/// How a process of the program gets the session's memory: at its first swap it connects to a socket in the
/// session's folder and receives the memory's descriptor and a number of its own.
namespace Framegrab {

/// Owns a file descriptor, which is none of the three that stand for input, output and errors: where the
/// program has closed one of these, what it prints must not come here.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor);
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    [[nodiscard]] bool IsOpen() const { return m_descriptor >= 0; }
    [[nodiscard]] int Get() const { return m_descriptor; }

private:
    int m_descriptor = -1;
};

/// What framegrab answers a process that connects, together with the memory's descriptor.
struct Welcome
{
    std::uint32_t client; ///< the number, below `MostClients`, by which framegrab knows the process
    std::uint64_t size;   ///< of the memory, in bytes
};

/// @return the socket on which framegrab waits for processes; none, and `errno`, on failure
Descriptor ListenIn(const std::string& folder);

/// @return the connection of a process; none, and `errno`, on failure
Descriptor ConnectTo(const std::string& folder);

bool SendWelcome(const Descriptor& connection, const Welcome& welcome, const Descriptor& memory);

/// Waits for the answer.
///
/// @return the memory's descriptor; none when framegrab has gone
Descriptor ReceiveWelcome(const Descriptor& connection, Welcome& welcome);

} // namespace Framegrab
