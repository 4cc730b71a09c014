#include "apps/zqsim/sweep/ranks.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/sweep/mpiMeeting.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sstream>

namespace
{
using namespace zqsim;

constexpr int connectTimeout = 10000; // ms

std::string makePassword()
{
   std::random_device chance;
   std::ostringstream text;
   for (int i = 0; i < 4; ++i)
      text << std::hex << chance() << '-';
   return text.str();
}

void setOption(int socket, int level, int option, int value)
{
   ::setsockopt(socket, level, option, &value, sizeof(value));
}

/// Has a connection end within a minute or so when the machine at the other end is gone, and small texts go at once.
void prepare(int socket)
{
   setOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
   setOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
#ifdef TCP_KEEPIDLE
   setOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, 30);
   setOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, 10);
   setOption(socket, IPPROTO_TCP, TCP_KEEPCNT, 4);
#endif
}

/// Listens at a port that the system chooses, on all addresses of this machine or within it alone.
LineSocket listenAnywhere(bool isOneMachine, std::string& port)
{
   for (const int family : {AF_INET6, AF_INET})
   {
      LineSocket socket(::socket(family, SOCK_STREAM, 0));
      sockaddr_storage address{};
      address.ss_family = static_cast<sa_family_t>(family);
      if (family == AF_INET6 && isOneMachine)
         continue; // its own address is of the older kind
      if (family == AF_INET6)
         setOption(socket.descriptor(), IPPROTO_IPV6, IPV6_V6ONLY, 0);
      else if (isOneMachine)
         reinterpret_cast<sockaddr_in&>(address).sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      socklen_t size = family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
      auto* generic = reinterpret_cast<sockaddr*>(&address);
      if (::bind(socket.descriptor(), generic, size) != 0 ||
          ::listen(socket.descriptor(), SOMAXCONN) != 0 ||
          ::getsockname(socket.descriptor(), generic, &size) != 0)
         continue;
      // Both kinds of addresses have it at the same place.
      port = std::to_string(ntohs(reinterpret_cast<sockaddr_in&>(address).sin_port));
      return socket;
   }
   throw Failure(Failed, std::string("no port to be had for other ranks: ") + std::strerror(errno));
}

/// Numeric, with white space between them.
std::string addressesOfThisMachine(bool isOneMachine)
{
   if (isOneMachine)
      return " 127.0.0.1";
   std::string addresses;
   ifaddrs* list = nullptr;
   if (::getifaddrs(&list) != 0)
      return addresses;
   for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next)
   {
      const int family = entry->ifa_addr != nullptr ? entry->ifa_addr->sa_family : AF_UNSPEC;
      if ((family != AF_INET && family != AF_INET6) || (entry->ifa_flags & IFF_UP) == 0 ||
          (entry->ifa_flags & IFF_LOOPBACK) != 0)
         continue;
      std::array<char, NI_MAXHOST> text{};
      const socklen_t size = family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
      if (::getnameinfo(entry->ifa_addr, size, text.data(), text.size(), nullptr, 0,
                        NI_NUMERICHOST) == 0 &&
          addresses.size() + text.size() < mpiTextSize / 2)
         addresses.append(" ").append(text.data());
   }
   ::freeifaddrs(list);
   return addresses;
}

/// Negative if it cannot be done in time.
LineSocket connectTo(const std::string& address, const std::string& port)
{
   addrinfo wanted{};
   wanted.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
   wanted.ai_socktype = SOCK_STREAM;
   addrinfo* found = nullptr;
   if (::getaddrinfo(address.c_str(), port.c_str(), &wanted, &found) != 0)
      return LineSocket();
   LineSocket socket(::socket(found->ai_family, SOCK_STREAM, found->ai_protocol));
   ::fcntl(socket.descriptor(), F_SETFL, O_NONBLOCK);
   const int begun = ::connect(socket.descriptor(), found->ai_addr, found->ai_addrlen);
   const bool isUnderWay = begun != 0 && errno == EINPROGRESS;
   ::freeaddrinfo(found);
   pollfd state{socket.descriptor(), POLLOUT, 0};
   int error = begun == 0 ? 0 : errno;
   socklen_t size = sizeof(error);
   if (isUnderWay && (::poll(&state, 1, connectTimeout) != 1 ||
                      ::getsockopt(socket.descriptor(), SOL_SOCKET, SO_ERROR, &error, &size) != 0))
      return LineSocket();
   if (error != 0)
      return LineSocket();
   ::fcntl(socket.descriptor(), F_SETFL, 0);
   prepare(socket.descriptor());
   return socket;
}
} // namespace

zqsim::Ranks::Ranks(std::size_t workers) : m_workers(workers)
{
   if (areThere())
   {
      m_starter = ::getppid();
      meet();
   }
   if (!m_fault.empty())
      throw Failure(Failed, m_fault);
}

zqsim::Ranks::~Ranks() = default;

bool zqsim::Ranks::areThere()
{
   constexpr std::array names{"OMPI_COMM_WORLD_SIZE", "PMI_RANK", "PMIX_RANK"};
   return std::any_of(names.begin(), names.end(),
                      [](const char* name) { return std::getenv(name) != nullptr; });
}

bool zqsim::Ranks::areAbandoned() const
{
   return m_starter >= 0 && ::getppid() != m_starter;
}

void zqsim::Ranks::meet()
{
   void* library = ::dlopen("zqsimMpi.so", RTLD_NOW | RTLD_GLOBAL);
   if (library == nullptr)
      throw Failure(
         Failed, std::string("was started by MPI, but was built without it, or cannot load it: ") +
                    ::dlerror());
   const auto meetByMpi = reinterpret_cast<MeetByMpi*>(::dlsym(library, "zqsimMeetByMpi"));
   const MpiMeeting meeting{[](void* context, int isOneMachine, char* text)
                            {
                               const std::string made =
                                  static_cast<Ranks*>(context)->invitation(isOneMachine != 0);
                               made.copy(text, mpiTextSize - 1);
                            },
                            [](void* context, int rank, const char* text)
                            { static_cast<Ranks*>(context)->connect(rank, text); },
                            this};
   if (meetByMpi == nullptr || meetByMpi(&meeting) == 0)
      throw Failure(Failed, "MPI cannot be begun");
}

std::string zqsim::Ranks::invitation(bool isOneMachine)
{
   try
   {
      std::string port;
      m_listener = listenAnywhere(isOneMachine, port);
      m_password = makePassword();
      return m_password + ' ' + port + addressesOfThisMachine(isOneMachine);
   }
   catch (const Failure& failure)
   {
      m_fault = failure.what();
      return {};
   }
}

void zqsim::Ranks::connect(int rank, const std::string& invitation)
{
   m_rank = rank;
   std::istringstream words(invitation);
   std::string port;
   words >> m_password >> port;
   std::string addresses;
   for (std::string address; words >> address && m_connections.empty();)
   {
      addresses += ' ' + address;
      for (LineSocket first = connectTo(address, port); first.descriptor() >= 0;
           first = connectTo(address, port))
      {
         m_connections.push_back(std::move(first));
         if (m_connections.size() == m_workers)
            return;
      }
   }
   if (m_connections.empty() && !port.empty())
      m_fault = "rank " + std::to_string(rank) + " cannot reach rank 0 at port " + port + " of" +
                addresses;
}

zqsim::LineSocket zqsim::Ranks::accept() const
{
   LineSocket connection(::accept(m_listener.descriptor(), nullptr, nullptr));
   if (connection.descriptor() >= 0)
      prepare(connection.descriptor());
   return connection;
}
