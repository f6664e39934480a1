#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace panel
{

// How the device reads an argument of a text command.
enum class ArgumentKind {
    kText,          // a text variable, or else the text itself
    kPlainText,     // the same, but not the name of a numeric variable
    kNumber,        // a numeric variable, or else a whole number
    kSwitch,        // a numeric variable and nothing else
    kTextVariable,  // a text variable and nothing else, for what is read
    kResult,        // a numeric variable that receives the outcome
};

// What is asked of the value. Seconds are for the service to judge, the others for
// the driver.
enum class ArgumentRule { kAny, kDottedQuad, kPort, kPassword, kUserName, kSeconds };

struct ArgumentInfo {
    const char* name;
    ArgumentKind kind;
    ArgumentRule rule;
    const char* values;  // that are right, in words
    bool secret;
    bool mayBeEmpty;  // then the service's own value is taken
};

// A text command of the VPN device: docs/commands.md.
struct CommandInfo {
    std::string_view word;  // upper and lower case are the same
    const char* service;    // the call that it becomes
    const char* help;
    const char* codes;  // that it is answered with, besides 1
    std::size_t count;  // of arguments
    std::array<ArgumentInfo, 3> arguments;
    bool takesAnything;  // whatever stands between the parentheses is ignored
};

namespace command_parts
{

constexpr ArgumentInfo kResult = {
    "r", ArgumentKind::kResult, ArgumentRule::kAny, "receives the outcome", false, false};
constexpr ArgumentInfo kServerPort = {
    "port", ArgumentKind::kNumber, ArgumentRule::kPort, "1 to 65535", false, true};

}  // namespace command_parts

// In the order in which the device looks for them.
constexpr std::array<CommandInfo, 12> kCommands = {{
    {"SETVPNSERVER",
     "setServerIPAndPort",
     "Enters another server",
     "0, 5, 9",
     3,
     {{{"address", ArgumentKind::kText, ArgumentRule::kAny, "an address or a host name", false,
        true},
       command_parts::kServerPort,
       command_parts::kResult}},
     false},
    {"SETVPNCA",
     "setVPNCA",
     "Sets the certificate of the authority",
     "0, 4, 5",
     2,
     {{{"certificate", ArgumentKind::kText, ArgumentRule::kAny,
        "a certificate as PEM, which only a variable can hold", true, false},
       command_parts::kResult,
       {}}},
     false},
    {"SETDEVICESN",
     "setDeviceSn",
     "Sets the device number",
     "0, 5",
     2,
     {{{"number", ArgumentKind::kPlainText, ArgumentRule::kAny, "a device number", false, false},
       command_parts::kResult,
       {}}},
     false},
    {"STARTVPN",
     "startVPN",
     "Starts the tunnel to a server",
     "0, 5, 9",
     3,
     {{{"address", ArgumentKind::kText, ArgumentRule::kDottedQuad, "four numbers such as 10.0.0.1",
        false, true},
       command_parts::kServerPort,
       command_parts::kResult}},
     false},
    {"STOPVPN",
     "stopVPN",
     "Stops the tunnel",
     "0, 4, 5",
     1,
     {{command_parts::kResult, {}, {}}},
     false},
    {"SETALIVETIME",
     "setBeatInterval",
     "Sets the heartbeat period",
     "0, 5",
     2,
     {{{"seconds", ArgumentKind::kNumber, ArgumentRule::kSeconds, "1 to 3600", false, false},
       command_parts::kResult,
       {}}},
     false},
    {"REFRESH", "checkCommState", "Asks the service to look after its link", "0", 0, {}, true},
    {"Enable",
     "setVPNEnabled",
     "Switches the VPN on or off",
     "0, 5",
     2,
     {{{"switch", ArgumentKind::kSwitch, ArgumentRule::kAny, "0 off, anything else on", false,
        false},
       command_parts::kResult,
       {}}},
     false},
    {"Online",
     "setOnline",
     "Puts the device on line",
     "0, 5",
     1,
     {{command_parts::kResult, {}, {}}},
     false},
    {"Offline",
     "setOnline",
     "Takes the device off line",
     "0, 5",
     1,
     {{command_parts::kResult, {}, {}}},
     false},
    {"GetVPNPasswd",
     "getVPNPassword",
     "Reads the password into a text variable",
     "0, 5",
     2,
     {{{"text", ArgumentKind::kTextVariable, ArgumentRule::kAny, "receives the password", false,
        false},
       command_parts::kResult,
       {}}},
     false},
    {"SetVPNPasswd",
     "setVPNPassword",
     "Sets the password",
     "0, 5",
     2,
     {{{"password", ArgumentKind::kPlainText, ArgumentRule::kPassword, "6 to 32 letters and digits",
        true, false},
       command_parts::kResult,
       {}}},
     false},
}};

// What a channel write becomes on its way to the device; no command for scripts.
constexpr std::string_view kWriteWord = "ORVA_WRITE";

// The command of that word; null when there is none.
const CommandInfo* findCommand(std::string_view word);

// "STARTVPN(address,port,r)"
std::string formOf(const CommandInfo& command);

// Whether one of its arguments is a secret that is handed over.
bool carriesSecret(const CommandInfo& command);

// Letters in upper and lower case are the same, whatever the locale.
bool sameWord(std::string_view a, std::string_view b);

}  // namespace panel
