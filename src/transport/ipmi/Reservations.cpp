#include "transport/ipmi/Reservations.h"

#include "common/text/ByteReader.h"

namespace Kelvar::Ipmi {
namespace {

std::optional<u16> ReservationIn(const Reply& reply) {
  Text::ByteReader reader(reply.data);
  const u16 reservation = reader.U16();
  return reply.completionCode == 0 && reader.Ok() ? std::optional(reservation) : std::nullopt;
}

/// Whether a packet number is after another one; they wrap.
bool IsAfter(u32 sequence, u32 other) {
  return sequence - other < 0x80000000U;
}

}  // namespace

void Reservations::Note(const ReceivedReply& received, u32 sequence) {
  for (Row& row : rows_) {
    const auto reservation = received.key.netFn == row.netFn && received.key.command == row.reserve
                                 ? ReservationIn(received.reply)
                                 : std::nullopt;
    if (reservation && (!row.valid || IsAfter(sequence, row.sequence))) {
      row.valid = reservation;
      row.sequence = sequence;
    }
  }
}

void Reservations::NoteTold(const IPMICOMMAND& command, const Reply& reply) {
  for (Row& row : rows_) {
    if (command.netFn == row.netFn && command.command == row.reserve) {
      row.told = ReservationIn(reply);
    }
  }
}

IPMICOMMAND Reservations::Renewed(const IPMICOMMAND& command) const {
  IPMICOMMAND renewed = command;
  for (const Row& row : rows_) {
    Text::ByteReader reader(command.data);
    const u16 named = reader.U16();
    if (command.netFn == row.netFn && command.command == row.use && reader.Ok() && row.told == named && row.valid) {
      renewed.data[0] = static_cast<u8>(*row.valid);
      renewed.data[1] = static_cast<u8>(*row.valid >> 8);
    }
  }
  return renewed;
}

}  // namespace Kelvar::Ipmi
