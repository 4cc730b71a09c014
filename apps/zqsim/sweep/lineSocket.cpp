#include "apps/zqsim/sweep/lineSocket.h"

#include "apps/zqsim/commands.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

zqsim::LineSocket& zqsim::LineSocket::operator=(LineSocket&& other) noexcept
{
   std::swap(m_descriptor, other.m_descriptor);
   std::swap(m_received, other.m_received);
   std::swap(m_read, other.m_read);
   return *this;
}

zqsim::LineSocket::~LineSocket()
{
   if (m_descriptor >= 0)
      ::close(m_descriptor);
}

std::pair<zqsim::LineSocket, zqsim::LineSocket> zqsim::LineSocket::makePair()
{
   std::array<int, 2> ends{};
   if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0)
      throw Failure(Failed,
                    std::string("cannot connect with another process: ") + std::strerror(errno));
   return {LineSocket(ends[0]), LineSocket(ends[1])};
}

bool zqsim::LineSocket::send(std::string_view text) const
{
   while (!text.empty())
   {
      const auto count = ::send(m_descriptor, text.data(), text.size(), 0);
      if (count < 0 && errno != EINTR)
         return false;
      if (count > 0)
         text.remove_prefix(static_cast<std::size_t>(count));
   }
   return true;
}

bool zqsim::LineSocket::receive()
{
   m_received.erase(0, m_read);
   m_read = 0;
   std::array<char, 65536> block; // NOLINT: it is filled below
   for (;;)
   {
      const auto count = ::recv(m_descriptor, block.data(), block.size(), 0);
      if (count > 0)
         m_received.append(block.data(), static_cast<std::size_t>(count));
      if (count >= 0 || errno != EINTR)
         return count > 0;
   }
}

std::optional<std::string> zqsim::LineSocket::nextLine()
{
   const auto end = m_received.find('\n', m_read);
   if (end == std::string::npos)
      return std::nullopt;
   std::string line = m_received.substr(m_read, end - m_read);
   m_read = end + 1;
   return line;
}

void zqsim::LineSocket::shutDown() const
{
   ::shutdown(m_descriptor, SHUT_RDWR);
}
