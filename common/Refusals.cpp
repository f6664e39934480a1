#include "common/Refusals.h"

#include <algorithm>
#include <cstddef>

namespace common
{

const std::vector<RefusalText>& refusals()
{
    // What a program can be called wrongly with ends with 2, what the service refuses with 7,
    // what it could not do with 1 or, where it is the disk's fault, 12; 10 is another version,
    // 11 one that is stuck.
    static const std::vector<RefusalText> all = {
        {Refusal::kBadRequest, "bad_request", 400, 2,
         "This is not a request that can be understood.", "无法理解该请求。",
         "Send HTTP/1.1 as the documentation shows it.", "请按照文档发送 HTTP/1.1 请求。"},
        {Refusal::kBrowser, "browser_refused", 403, 7, "Requests of web pages are refused.",
         "拒绝来自网页的请求。", "Send neither Origin nor Referer, and localhost as the host.",
         "请勿发送 Origin 或 Referer，主机名请使用 localhost。"},
        {Refusal::kNotAllowed, "not_allowed", 403, 7, "This user may not do that.",
         "该用户无权执行此操作。",
         "Have the administrator add the user to the list that the detail names, then reload the "
         "service.",
         "请管理员将该用户加入 detail 所指的列表，然后重新加载服务。"},
        {Refusal::kUnknownPath, "unknown_path", 404, 10, "There is nothing at this path.",
         "此路径不存在。", "Check the path; a newer program may need a newer service.",
         "请检查路径；较新的程序可能需要较新的服务。"},
        {Refusal::kWrongMethod, "method_not_allowed", 405, 2,
         "This path is not asked with this method.", "此路径不支持该方法。",
         "Use a method that the header Allow names.", "请使用 Allow 头中列出的方法。"},
        {Refusal::kTooLate, "timeout", 408, 11, "The request did not arrive in time.",
         "请求未能及时到达。", "Send head and body without a pause.", "请连续发送请求头和正文。"},
        {Refusal::kNotNow, "not_now", 409, 7, "The present state does not allow that.",
         "当前状态不允许此操作。", "Change what the detail names first, then ask again.",
         "请先更改 detail 所指的内容，然后重试。"},
        {Refusal::kRealTunnel, "real_tunnel", 409, 7,
         "This tunnel is a real one and plays nothing.", "此隧道为真实隧道，无法模拟。",
         "Use a service with the simulated tunnel.", "请使用带有模拟隧道的服务。"},
        {Refusal::kSettingsChanged, "settings_changed", 412, 7,
         "The settings are not those of the version that was named.", "设置已不是所指定的版本。",
         "Read the settings, then change them with their present version.",
         "请重新读取设置，然后使用当前版本进行更改。"},
        {Refusal::kBodyTooLarge, "body_too_large", 413, 2, "The body is longer than 256 KiB.",
         "请求正文超过 256 KiB。", "Send less at once.", "请减少单次发送的内容。"},
        {Refusal::kExpectation, "expectation_failed", 417, 2,
         "What the header Expect asks for is not known.", "无法满足 Expect 头的要求。",
         "Leave the header Expect out.", "请去掉 Expect 头。"},
        {Refusal::kNotJson, "not_json", 400, 2, "The body is not a JSON object.",
         "请求正文不是 JSON 对象。",
         "Send one JSON object in UTF-8, or nothing where nothing is needed.",
         "请发送一个 UTF-8 编码的 JSON 对象；不需要正文时请留空。"},
        {Refusal::kUnknownField, "unknown_field", 422, 2,
         "There is no field or parameter of this name here.", "此处没有该名称的字段或参数。",
         "Check the name; a newer program may need a newer service.",
         "请检查名称；较新的程序可能需要较新的服务。"},
        {Refusal::kInvalidValue, "invalid_value", 422, 2, "This value is not acceptable.",
         "该值不可接受。", "Send a value as the detail describes it.",
         "请发送符合 detail 说明的值。"},
        {Refusal::kHeadTooLarge, "head_too_large", 431, 2,
         "The head of the request is longer than 16 KiB.", "请求头超过 16 KiB。",
         "Send fewer or shorter headers.", "请减少或缩短请求头。"},
        {Refusal::kInternal, "internal_error", 500, 1, "The service could not carry this out.",
         "服务无法执行此操作。", "Try again; the service's log tells more.",
         "请重试；服务日志中有更多信息。"},
        {Refusal::kNotStored, "not_stored", 503, 12,
         "The change could not be stored. A switch is in force all the same, anything else is not.",
         "更改无法保存。开关已生效，其他更改未生效。",
         "See whether the disk of the state folder is full, read-only or failing; then try again.",
         "请检查状态文件夹所在磁盘是否已满、只读或故障，然后重试。"},
        {Refusal::kTooManyClients, "too_many_clients", 503, 11, "Too many connections are open.",
         "打开的连接过多。", "Close some, or try again later.", "请关闭部分连接，或稍后重试。"},
    };
    return all;
}

const RefusalText& textOf(Refusal refusal) { return refusals()[static_cast<std::size_t>(refusal)]; }

const RefusalText* findRefusal(std::string_view code)
{
    const auto found = std::find_if(refusals().begin(), refusals().end(),
                                    [&](const RefusalText& each) { return each.code == code; });
    return found == refusals().end() ? nullptr : &*found;
}

}  // namespace common
