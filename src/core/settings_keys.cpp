#include "core/settings_keys.h"

#include <array>

namespace xl::core::keys {

namespace {

constexpr std::array kSettings{
    Setting{kMain, kPassword, "426813", "The login password, as plain text."},
    Setting{kPorts, kPortCount, "0", "How many entries the port list has."},
    Setting{kPorts, kFamilyNumber, "",
            "Entry n (1 to ListCount) of the port list: port name, comma, baud rate (\"COM3,9600\"). "
            "Entries above ListCount are left behind and never read."},
    Setting{kNetworkPorts, kFamilyPort, "",
            "A port that is a serial-to-Ethernet gateway: \"tcp://HOST:PORT\". A port without a key "
            "here is a serial port."},
    Setting{kScan, kPerLine, "0",
            "1: the fast scan, one session per line, lines side by side; otherwise one request a second."},
    Setting{kRecorder, kReadInterval, "10", "Seconds of rest between two scan rounds; 0 stops the scan."},
    Setting{kRecorder, kAutoSaving, "0", "1: the recorder writes its files (Val of the text, rounded)."},
    Setting{kRecorder, kFilePath, "the program directory", "The folder the recorder's station folders go in."},
    Setting{kRecorder, kSaveIntervalH, "0 (when both interval keys are empty)", "Hours of the save interval."},
    Setting{kRecorder, kSaveIntervalM, "1 (when both interval keys are empty)", "Minutes of the save interval."},
    Setting{kRecorder, kLineCount, "32000", "Data lines of one file before the next is begun (1000 to 60000)."},
    Setting{kRecorder, kTemporary, "30", "Size limit of one file in MB of a million bytes (1 to 50)."},
    Setting{kRecorder, kFamilyStation, "",
            "A station's mark, under the station's name: \"-1\" records it, \"0\" or nothing does not."},
    Setting{kMqtt, kMqttEnabled, "0", "1: the publisher sends to the broker."},
    Setting{kMqtt, kMqttHost, "", "The broker's host name or address."},
    Setting{kMqtt, kMqttPort, "1883", "The broker's TCP port (1 to 65535)."},
    Setting{kMqtt, kMqttClientId, "the computer's name", "The MQTT client id, also the second level of every topic."},
    Setting{kMqtt, kMqttTopicPrefix, "xinglan", "The first level of every topic."},
    Setting{kMqtt, kMqttUsername, "", "User name at the broker; none when empty."},
    Setting{kMqtt, kMqttPassword, "", "Password at the broker, as plain text."},
    Setting{kMqtt, kMqttCaFile, "", "A CA certificate file: TLS to the broker when set."},
    Setting{kMqtt, kMqttDiscoveryPrefix, "homeassistant (only when the key is absent)",
            "Prefix of the Home Assistant discovery topics; an empty value turns discovery off."},
    Setting{kAlarms, kSilentAfter, "3",
            "Real-time requests in a row without a valid reply before a station is silent (1 to 1000)."},
    Setting{kAlarms, kLowSoc, "", "Charge level in % (1 to 100) below which a station raises low_soc; empty: off."},
    Setting{kAlarms, kAlarmCommand, "",
            "A program run for each raise and clear with station, device ID, code, text, state and time "
            "as arguments, never through a shell; empty: none."},
    Setting{kAlarms, kKeepDays, "365", "Days the alarm log keeps its cleared rows (1 to 36500)."},
};

}  // namespace

std::span<const Setting> allSettings() { return kSettings; }

}  // namespace xl::core::keys
