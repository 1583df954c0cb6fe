#pragma once

struct lanserv_data_s;
struct sys_data_s;

namespace Kelvar::Simulator {

/// What a LAN channel of ipmi_sim sends leaves it so many milliseconds later, in order and however much is on its way:
/// a far network, where the wait of a rule or "latency" is a slow target.
void DelayLine(sys_data_s* system, lanserv_data_s* lan, unsigned milliseconds);

}  // namespace Kelvar::Simulator
