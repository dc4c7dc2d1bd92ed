#pragma once

#include <string>

// What the utility shows.
namespace kvo::bootloadertms::testing {

// In verbose mode, before and after everything else.
inline const std::string kEntering = "Entering boot loader utility for TMS\n";
inline const std::string kExiting = "\nExiting boot loader utility for TMS\n";

// An upload's trace, in the order of the transfer.
inline const std::string kReceiverAsked = " CRC recu du receiver \n";
inline const std::string kPacketZeroSent = " packet 0 EST envoye \n";
inline const std::string kPacketZeroAcknowledged = " Ymodem_Transmit : ACK apres packet 0\n";
inline const std::string kAskedAfterTheAcknowledge = " Ymodem_Transmit : CRC apres ACK\n";
inline const std::string kPacketZeroAccepted = kPacketZeroAcknowledged + kAskedAfterTheAcknowledge;
inline const std::string kPacketZeroAskedForAgain =
    " Ymodem_Transmit : PREMIER CRC apres envoie Packet 0\n";
inline const std::string kGivenUp = " ni ACK ni CRC ni NACK -- exit\n";
inline const std::string kTransferComplete =
    "\nSendDataPacket n\xC2\xB0"
    "0 : EOT packet send \n";

// Packet 0 for a "tv" board; `length` is the image's length, dotted up to 17 characters.
inline std::string PacketZeroForTv(const std::string& length) {
  return "PACKET 0 :\n" + length +
         "TRK4_R1.........................TRK4-R1-APPLICATION.............VER 1.0................."
         ".......................";
}

// What the top-level handler writes.
inline std::string Failure(const std::string& message) {
  return "\n" + message + "\n\nException :  Exiting boot loader utility for TMS\n\n";
}

inline const std::string kTransmitFailed = Failure("!!! YModem transmit failed. Exiting");
inline const std::string kVerdictFailed =
    Failure("!!! YModem transfer on boot loader failed. Exiting");

}  // namespace kvo::bootloadertms::testing
