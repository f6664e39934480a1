#include "tests/ctl/Scripts.h"

#include <nlohmann/json.hpp>

namespace scripts
{
namespace
{

using Json = nlohmann::ordered_json;

std::string patched(const char* text, const std::string& changes)
{
    Json value = Json::parse(text);
    const Json patch = Json::parse(changes);
    for (const auto& each : patch.items()) {
        // The interface has its fields always: null is a value.
        if (each.value().is_null()) {
            value[each.key()] = nullptr;
        } else {
            value[each.key()].merge_patch(each.value());
        }
    }
    return value.dump();
}

std::string atState(int number, const char* name, const char* english, const char* chinese,
                    const std::string& more)
{
    Json changes = Json::parse(more);
    changes["state"] = {
        {"number", number}, {"name", name}, {"english", english}, {"chinese", chinese}};
    changes["vpn_address"] = nullptr;
    return status(changes.dump());
}

}  // namespace

std::string status(const std::string& changes)
{
    return patched(R"({
  "version": "1.0.0", "api": 1, "pid": 412,
  "started_ms": 1767323045000, "now_ms": 1767326645000, "uptime_s": 3600,
  "switches": {"enabled": true, "online": true, "connect": true, "held": false},
  "state": {"number": 5, "name": "connected", "english": "Connected.", "chinese": "已连接。",
            "since_ms": 1767323047000, "since_s": 3598},
  "reason": null, "server_words": "", "vpn_address": "10.8.0.6",
  "traffic": {"received_bytes": 20971520, "sent_bytes": 1536},
  "settings": {"version": "5f0c81d2-3", "server": "192.0.2.10", "port": 1194, "user": "panel-7",
               "password_set": true, "device_number": "SN-0001", "device_name": "line-3",
               "beat_interval": 30},
  "certificates": [{"subject": "CN=Example CA", "not_after": "2036-01-31 23:59:59 UTC",
                    "not_after_ms": 2085436799000, "is_authority": true}],
  "store": {"folder": "/var/lib/orva-vpnd", "stores": true, "problem": null},
  "tunnel": {"kind": "simulated", "simulation": {"reason": null, "stage": null, "speed": 1}},
  "listen": "127.0.0.1:9009", "configuration_file": "/etc/orva/vpnd.toml",
  "you": {"uid": 1000, "program": "orva-vpnctl", "may_read": true, "may_change": true,
          "may_see_secrets": true,
          "rules": {"read": "default: everybody; [callers] read in /etc/orva/vpnd.toml",
                    "change": "[callers] change in /etc/orva/vpnd.toml",
                    "secrets": "[secrets] show-to in /etc/orva/vpnd.toml"}}
})",
                   changes);
}

std::string faultStatus()
{
    return atState(101, "fault", "The server refused the user name or the password.",
                   "服务器拒绝了用户名或密码。", R"({"server_words": "AUTH_FAILED,no such user",
  "reason": {"number": 1, "name": "credentials-refused",
    "english": "The server refused the user name or the password.",
    "chinese": "服务器拒绝了用户名或密码。",
    "remedy_english": "Set the right user name and password; the tunnel then tries again by itself.",
    "remedy_chinese": "请设置正确的用户名和密码，设置后隧道会自动重试。"}})");
}

std::string retryingStatus()
{
    return atState(6, "reconnecting", "Waiting before the next attempt.", "等待下一次尝试。",
                   R"({"reason": {"number": 7, "name": "name-not-resolved",
    "english": "The server's name cannot be resolved.", "chinese": "无法解析服务器名称。",
    "remedy_english": "Check the server's name, the panel's network cable and its name server.",
    "remedy_chinese": "请检查服务器名称、面板网线和域名服务器。"}})");
}

std::string disabledStatus()
{
    return atState(0, "disabled", "The VPN is disabled.", "VPN 已禁用。",
                   R"({"switches": {"enabled": false}})");
}

std::string idleStatus()
{
    return atState(1, "idle", "The VPN is idle.", "VPN 空闲。",
                   R"({"switches": {"connect": false}, "certificates": [],
  "settings": {"server": "", "user": "", "password_set": false},
  "store": {"stores": false, "problem": "No space left on device"}})");
}

std::string reachingStatus()
{
    return atState(2, "reaching", "Looking for the server.", "正在查找服务器。", "{}");
}

std::string settings(const std::string& changes)
{
    return patched(R"({
  "version": "5f0c81d2-3",
  "settings": {"server": "192.0.2.10", "port": 1194, "user": "panel-7", "password_set": true,
               "certificates": "-----BEGIN CERTIFICATE-----\nMIIB\n-----END CERTIFICATE-----\n",
               "device_number": "", "device_name": "line \"3\"\\", "beat_interval": 30,
               "enabled": true, "online": true, "connect": true}
})",
                   changes);
}

std::string row(int id)
{
    switch (id) {
        case 1040:
            return R"({"id": 1040, "first_ms": 1767323046000, "last_ms": 1767323146000,
 "count": 3, "kind": "request", "subject": "stopVPN", "before": "", "after": "",
 "interface": "rpc", "uid": 1000, "program": "hmi", "outcome": "not allowed", "reason": null,
 "detail": ""})";
        case 1041:
            return R"({"id": 1041, "first_ms": 1767323047000, "last_ms": 1767323047000,
 "count": 1, "kind": "state", "subject": "reconnecting", "before": "2", "after": "6",
 "interface": "service", "uid": null, "program": "", "outcome": "done",
 "reason": {"number": 7, "name": "name-not-resolved"}, "detail": "no such name"})";
        default:
            return R"({"id": )" + std::to_string(id) + R"(, "first_ms": 1767323048000,
 "last_ms": 1767323048000, "count": 1, "kind": "setting", "subject": "port", "before": "1194",
 "after": "1195", "interface": "control", "uid": 0, "program": "orva-vpnctl",
 "outcome": "done", "reason": null, "detail": ""})";
    }
}

std::string history()
{
    return R"({"life": "7f3a9c21", "first_id": 1, "last_id": 1042, "next_after": 1042,
 "entries": [)" +
           row(1040) + "," + row(1041) + "," + row(1042) + "]}";
}

std::string change(bool isDry, bool drops, const std::string& fields)
{
    return std::string(R"({"dry_run": )") + (isDry ? "true" : "false") + R"(, "changed": [)" +
           fields + R"(], "tunnel_drops": )" + (drops ? "true" : "false") +
           R"(, "version": "5f0c81d2-4"})";
}

std::string switched(const std::string& state)
{
    return R"({"outcome": "done", "state": )" + state + "}";
}

std::string error(const std::string& code, const std::string& field, const std::string& detail)
{
    return Json{{"error",
                 {{"code", code},
                  {"field", field},
                  {"detail", detail},
                  {"message_english", "Words of the service."},
                  {"message_chinese", "服务的说明。"},
                  {"remedy_english", "What to do."},
                  {"remedy_chinese", "处理办法。"}}}}
        .dump();
}

void play(FakeService& service)
{
    service.answer("GET /v1/status", 200, status());
    service.answer("GET /v1/settings", 200, settings());
    service.answer("GET /v1/settings?secrets=1", 200,
                   settings(std::string(R"({"settings": {"password": ")") + kPassword + "\"}}"));
    for (const char* limit : {"50", "1000"}) {
        service.answer(std::string("GET /v1/history?limit=") + limit, 200, history());
    }
    service.stream("GET /v1/events",
                   eventText("status", "7f3a9c21-1041", Json::parse(status()).dump()) +
                       eventText("history", "7f3a9c21-1042", Json::parse(row(1042)).dump()));
    service.answer("PATCH /v1/settings", 200, change(false, true, R"("server", "port")"));
    const char* const idle =
        R"({"number": 1, "name": "idle", "english": "The VPN is idle.", "chinese": "VPN 空闲。"})";
    for (const char* name : {"start", "stop", "enable", "disable", "online", "offline", "check"}) {
        service.answer(std::string("POST /v1/") + name, 200, switched(idle));
    }
}

}  // namespace scripts
