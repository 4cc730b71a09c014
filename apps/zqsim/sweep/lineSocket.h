#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace zqsim
{
/// One end of a connection over which lines go. It closes with this.
class LineSocket
{
public:
   explicit LineSocket(int descriptor = -1) : m_descriptor(descriptor) {}
   LineSocket(LineSocket&& other) noexcept
      : m_descriptor(std::exchange(other.m_descriptor, -1)),
        m_received(std::exchange(other.m_received, {})), m_read(std::exchange(other.m_read, 0))
   {
   }
   LineSocket& operator=(LineSocket&& other) noexcept;
   ~LineSocket();

   /// Two that are connected with each other; a `Failure` if there is none to be had.
   static std::pair<LineSocket, LineSocket> makePair();

   int descriptor() const { return m_descriptor; }
   /// All of a text, which holds its ends of lines. False when nobody is at the other end any more; the process has to
   /// pass over SIGPIPE.
   bool send(std::string_view text) const;
   /// Waits for something to come; false when nothing will.
   bool receive();
   /// The next line that has come whole, without its end.
   std::optional<std::string> nextLine();
   /// What has come of a line that is not whole.
   std::size_t torn() const { return m_received.size() - m_read; }
   /// Has both ends know that nothing will come any more, in whatever processes they are open.
   void shutDown() const;

private:
   int m_descriptor;
   std::string m_received;
   std::size_t m_read = 0; ///< so many bytes of it
};
} // namespace zqsim
