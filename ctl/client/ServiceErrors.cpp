#include "ctl/client/ServiceErrors.h"

#include "ctl/base/Json.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace ctl
{
namespace
{

// told: what the service says; 0 where it does not.
ExitCode exitCodeOf(int status, const std::string& code, std::int64_t told)
{
    // Its own code here, whatever other programs make of it.
    if (code == "not_stored") return kExitNotStored;
    if (told >= kExitFailed && told <= kExitNotStored) return static_cast<ExitCode>(told);
    switch (status) {
        case 403:
        case 409:
        case 412:
            return kExitRefused;
        case 408:
        case 503:
            return kExitStuck;
        default:
            return status >= 500 ? kExitFailed : kExitUsage;
    }
}

std::string ownName()
{
    const uid_t uid = ::geteuid();
    std::array<char, 4096> buffer{};
    passwd entry = {};
    passwd* found = nullptr;
    if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return std::to_string(uid);
    }
    return std::string("\"") + found->pw_name + "\"";
}

// The line that would allow it: of "callers.change" 'Under [callers]: change = ["root", "me"]'.
std::string lineThatAllows(const std::string& field)
{
    const std::size_t dot = field.find('.');
    if (dot == field.npos) return {};
    const std::string name = ownName();
    const std::string list = name == "\"root\"" ? name : "\"root\", " + name;
    return "The line that would allow it, under [" + field.substr(0, dot) +
           "] of the service's configuration: " + field.substr(dot + 1) + " = [" + list + "]";
}

void append(std::string& text, const std::string& more)
{
    if (more.empty()) return;
    if (!text.empty()) text += " ";
    text += more;
}

}  // namespace

Failure failureOf(const std::string& path, int status, const std::string& body, Language language)
{
    Json answer;
    try {
        answer = parseJson(body);
    } catch (const std::invalid_argument&) {
        answer = nullptr;
    }
    const std::string code = textAt(answer, "error.code");
    // This program asks for nothing that version 1 does not have.
    if (status == 404) return otherVersion(path, "it has no such request");
    if (code.empty()) {
        return unusableAnswer(path, "it answers " + std::to_string(status) + " without saying why");
    }
    const std::string ending = language == Language::kChinese ? "chinese" : "english";
    std::string text = textAt(answer, "error.message_" + ending);
    const std::string field = textAt(answer, "error.field");
    const std::string detail = textAt(answer, "error.detail");
    if (!field.empty()) append(text, "(" + field + (detail.empty() ? "" : ": " + detail) + ")");
    if (field.empty() && !detail.empty()) append(text, "(" + detail + ")");
    std::string remedy = textAt(answer, "error.remedy_" + ending);
    if (status == 403) append(remedy, lineThatAllows(field));
    Failure failure(exitCodeOf(status, code, numberAt(answer, "error.exit").value_or(0)), text,
                    remedy);
    return failure.withCode(code);
}

Failure otherVersion(const std::string& path, const std::string& told)
{
    return Failure(kExitOtherVersion,
                   "the service at " + path + " is of another version: " + told +
                       ", and this program speaks version 1 of the interface",
                   "Install orva-vpnd and orva-vpnctl of the same version.");
}

Failure unusableAnswer(const std::string& path, const std::string& why)
{
    return Failure(kExitStuck, "what listens at " + path + " gives no usable answer: " + why,
                   "Look whether it is orva-vpnd that listens there, and restart that: systemctl "
                   "restart orva-vpnd.");
}

}  // namespace ctl
