#include "service/core/SettingFields.h"

#include "service/core/AccessRules.h"
#include "service/core/HistoryEntry.h"
#include "service/core/Validation.h"
#include "service/pki/Pem.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>

namespace vpnd
{
namespace
{

std::string toText(const std::string& value) { return value; }
std::string toText(std::int32_t value) { return std::to_string(value); }
std::string toText(bool value) { return value ? "true" : "false"; }

template <auto Member>
std::string textOfMember(const VpnSettings& settings)
{
    return toText(settings.*Member);
}

template <auto Member>
bool sameMember(const VpnSettings& a, const VpnSettings& b)
{
    return a.*Member == b.*Member;
}

template <auto Member>
void copyMember(VpnSettings& to, const VpnSettings& from)
{
    to.*Member = from.*Member;
}

template <auto Member, bool (*Rule)(std::string_view)>
bool assignText(VpnSettings& settings, std::string_view text)
{
    if (!text.empty() && !Rule(text)) return false;
    settings.*Member = text;
    return true;
}

template <auto Member, bool (*Rule)(std::int32_t)>
bool assignNumber(VpnSettings& settings, std::string_view text)
{
    std::int32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stopped != end || !Rule(value)) return false;
    settings.*Member = value;
    return true;
}

template <auto Member>
bool assignSwitch(VpnSettings& settings, std::string_view text)
{
    if (text != "true" && text != "false") return false;
    settings.*Member = text == "true";
    return true;
}

// The mask is what others than the password's owners see: stored, it would be a password
// that nobody has chosen.
bool isPassword(std::string_view text) { return isCredential(text) && text != kSecretMask; }

bool assignCertificates(VpnSettings& settings, std::string_view text)
{
    std::string pem;
    if (!text.empty()) {
        Certificates certificates = readCertificates(text);
        if (certificates.refusal != nullptr) return false;
        pem = std::move(certificates.pem);
    }
    settings.certificates = std::move(pem);
    return true;
}

template <auto Member>
constexpr SettingField field(const char* key, const char* rule,
                             bool (*assign)(VpnSettings&, std::string_view), bool isSecret = false)
{
    return {key,
            rule,
            isSecret,
            &textOfMember<Member>,
            assign,
            &sameMember<Member>,
            &copyMember<Member>};
}

constexpr const char* kCredentialRule = "1 to 128 printable ASCII characters";
constexpr const char* kSwitchRule = "true or false";

using S = VpnSettings;
constexpr std::array<SettingField, kSettingCount> kFields = {
    field<&S::server>("server", "an IP address or a host name of at most 253 bytes",
                      &assignText<&S::server, &isServerAddress>),
    field<&S::port>("port", "a whole number from 1 to 65535", &assignNumber<&S::port, &isPort>),
    field<&S::userName>("user", kCredentialRule, &assignText<&S::userName, &isCredential>),
    field<&S::password>("password", "1 to 128 printable ASCII characters, other than ********",
                        &assignText<&S::password, &isPassword>, true),
    field<&S::certificates>("certificates", "1 to 32 PEM certificates, one at least of a CA",
                            &assignCertificates),
    field<&S::deviceNumber>("device-number", "1 to 64 letters, digits and -_.:/",
                            &assignText<&S::deviceNumber, &isDeviceNumber>),
    field<&S::deviceName>("device-name",
                          "1 to 64 bytes of UTF-8 without control characters, quotes and "
                          "backslashes",
                          &assignText<&S::deviceName, &isDeviceName>),
    field<&S::beatIntervalS>("beat-interval", "a whole number of seconds from 1 to 3600",
                             &assignNumber<&S::beatIntervalS, &isBeatInterval>),
    field<&S::enabled>("enabled", kSwitchRule, &assignSwitch<&S::enabled>),
    field<&S::online>("online", kSwitchRule, &assignSwitch<&S::online>),
    field<&S::connect>("connect", kSwitchRule, &assignSwitch<&S::connect>),
};

std::string subjectsOf(const std::string& pem)
{
    std::string text;
    for (const CertificateSummary& each : readCertificates(pem).summaries) {
        if (!text.empty()) text += "; ";
        text += each.subject + ", valid until " + each.notAfter;
    }
    return text;
}

}  // namespace

const std::array<SettingField, kSettingCount>& settingFields() { return kFields; }

const SettingField* findSetting(std::string_view key)
{
    const auto found = std::find_if(kFields.begin(), kFields.end(),
                                    [&](const SettingField& each) { return each.key == key; });
    return found == kFields.end() ? nullptr : &*found;
}

SettingSet differences(const VpnSettings& a, const VpnSettings& b)
{
    SettingSet which;
    for (std::size_t i = 0; i < kSettingCount; ++i) which[i] = !kFields[i].isSame(a, b);
    return which;
}

void copySettings(VpnSettings& to, const VpnSettings& from, const SettingSet& which)
{
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        if (which[i]) kFields[i].copy(to, from);
    }
}

std::string shownText(const SettingField& field, const VpnSettings& settings)
{
    if (field.isSecret) return field.text(settings).empty() ? "" : "set";
    if (&field == &kFields[kCertificates]) return subjectsOf(settings.certificates);
    return field.text(settings);
}

}  // namespace vpnd
