#include "simulator/ipmi/module/DelayedLine.h"

#include <deque>
#include <map>
#include <memory>
#include <vector>

#include <sys/time.h>

#include <OpenIPMI/serv.h>

#include <kelvar/Types.h>

namespace Kelvar::Simulator {

namespace {

using SendOut = void (*)(lanserv_data_t*, iovec*, int, void*, int);
using Bytes = std::vector<u8>;

struct Datagram {
  timeval due{};
  Bytes bytes;
  Bytes address;
};

struct Line {
  sys_data_t* system = nullptr;
  lanserv_data_t* lan = nullptr;
  SendOut send = nullptr;
  timeval delay{};
  ipmi_timer_t* timer = nullptr;
  std::deque<Datagram> waiting;
};

std::map<lanserv_data_t*, std::unique_ptr<Line>> lines;

timeval Now(const Line& line) {
  timeval now{};
  line.system->get_monotonic_time(line.system, &now);
  return now;
}

void StartTimer(Line& line) {
  const timeval now = Now(line);
  const timeval due = line.waiting.front().due;
  timeval left{};
  if (timercmp(&now, &due, <)) {
    timersub(&due, &now, &left);
  }
  line.system->start_timer(line.timer, &left);
}

extern "C" void SendWhatIsDue(void* data) {
  Line& line = *static_cast<Line*>(data);
  const timeval now = Now(line);
  while (!line.waiting.empty() && !timercmp(&now, &line.waiting.front().due, <)) {
    Datagram& datagram = line.waiting.front();
    iovec piece{datagram.bytes.data(), datagram.bytes.size()};
    line.send(line.lan, &piece, 1, datagram.address.data(), static_cast<int>(datagram.address.size()));
    line.waiting.pop_front();
  }
  if (!line.waiting.empty()) {
    StartTimer(line);
  }
}

extern "C" void KeepForLater(lanserv_data_t* lan, iovec* pieces, int count, void* address, int addressSize) {
  Line& line = *lines.at(lan);
  Datagram datagram;
  const timeval now = Now(line);
  timeradd(&now, &line.delay, &datagram.due);
  for (int index = 0; index < count; ++index) {
    const auto* bytes = static_cast<const u8*>(pieces[index].iov_base);
    datagram.bytes.insert(datagram.bytes.end(), bytes, bytes + pieces[index].iov_len);
  }
  const auto* bytes = static_cast<const u8*>(address);
  datagram.address.assign(bytes, bytes + addressSize);
  line.waiting.push_back(std::move(datagram));
  if (line.waiting.size() == 1) {
    StartTimer(line);
  }
}

}  // namespace

void DelayLine(sys_data_s* system, lanserv_data_s* lan, unsigned milliseconds) {
  auto& line = lines[lan];
  if (milliseconds == 0 || line != nullptr) {
    return;
  }
  line = std::make_unique<Line>();
  line->system = system;
  line->lan = lan;
  line->send = lan->send_out;
  line->delay = {static_cast<time_t>(milliseconds / 1000), static_cast<suseconds_t>(milliseconds % 1000) * 1000};
  system->alloc_timer(system, SendWhatIsDue, line.get(), &line->timer);
  lan->send_out = KeepForLater;
}

}  // namespace Kelvar::Simulator
