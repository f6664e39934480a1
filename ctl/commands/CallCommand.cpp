#include "ctl/commands/Commands.h"
#include "ctl/commands/InputFile.h"
#include "ctl/commands/RpcMethods.h"
#include "ctl/commands/SecretInput.h"
#include "ctl/report/Scrubber.h"
#include "platform/QZNet.h"
#include "platform/QZRPC.h"
#include "service/pki/Pem.h"
#include "vpnclient/VPNRpcCtrlClient.h"

#include <CLI/CLI.hpp>

#include <array>
#include <limits>
#include <memory>

namespace ctl
{
namespace
{

struct Wanted {
    std::string method;
    std::vector<std::string> arguments;
    std::string service = "127.0.0.1:9009";
    bool showsSecrets = false;
};

std::string formOf(const RpcMethod& method)
{
    std::string form = method.name;
    for (const MethodArgument& each : method.arguments) {
        if (each.kind != ArgumentKind::kSecret) form += std::string(" ") + each.name;
    }
    return form;
}

std::string listOfMethods()
{
    std::string text;
    for (const RpcMethod& each : rpcMethods()) {
        text += "  " + padded(formOf(each), 35) + each.help + "\n";
    }
    return text;
}

bool switchOf(const std::string& text)
{
    for (const char* yes : {"on", "true", "1"}) {
        if (text == yes) return true;
    }
    for (const char* no : {"off", "false", "0"}) {
        if (text == no) return false;
    }
    throw Failure(kExitUsage, "'" + text + "': on or off would be right");
}

Json numberOf(const MethodArgument& argument, const std::string& text)
{
    const long long number = wholeNumber(text, argument.name);
    if (number < std::numeric_limits<std::int32_t>::min() ||
        number > std::numeric_limits<std::int32_t>::max()) {
        throw Failure(kExitUsage,
                      std::string(argument.name) + " '" + text + "': it does not fit 32 bits");
    }
    return number;
}

Json valueOf(const MethodArgument& argument, const std::string& text)
{
    switch (argument.kind) {
        case ArgumentKind::kPort:
        case ArgumentKind::kSeconds:
            return numberOf(argument, text);
        case ArgumentKind::kSwitch:
            return switchOf(text);
        case ArgumentKind::kCertificateFile:
            return readInput(text, vpnd::kMaxCertificateTextBytes);
        default:
            return text;
    }
}

std::vector<Json> valuesOf(const RpcMethod& method, const std::vector<std::string>& given)
{
    std::vector<Json> values;
    std::size_t next = 0;
    for (const MethodArgument& each : method.arguments) {
        if (each.kind == ArgumentKind::kSecret) {
            // Nothing of it may be quoted.
            if (!given.empty()) {
                throw Failure(kExitUsage,
                              "a password is not taken from the command line, where other users "
                              "can read it",
                              "Leave it out and type it when asked, or give it on standard input.");
            }
            values.emplace_back(readSecret("VPN password: "));
        } else if (next < given.size()) {
            values.push_back(valueOf(each, given[next++]));
        } else {
            throw Failure(kExitUsage, "right would be: call " + formOf(method));
        }
    }
    if (next < given.size()) {
        throw Failure(kExitUsage,
                      "more arguments than expected; right would be: call " + formOf(method));
    }
    return values;
}

QZ::Net::Address addressOf(const std::string& text)
{
    try {
        return QZ::Net::Address(text.c_str());
    } catch (const QZ::Net::Exception& error) {
        throw Failure(kExitUsage, "--service " + text + ": " + error.info());
    }
}

Json exchange(const Wanted& wanted, const RpcMethod& method)
{
    const QZ::Net::Address address = addressOf(wanted.service);
    const std::vector<Json> values = valuesOf(method, wanted.arguments);
    QZ::RPC::DispatchClient connection(address, QZ::Net::TCPClient::NewFactory());
    if (!connection.online()) {
        throw Failure(kExitNoService, "there is no service at " + wanted.service,
                      "Start it: systemctl start orva-vpnd. Where it listens elsewhere, name that "
                      "with --service.");
    }
    VPNRpcCtrlClient client(&connection);
    try {
        return method.call(client, values);
    } catch (const QZ::Net::Exception& error) {
        // What the driver's own class tells of an error reply.
        if (std::string(error.func()) == "GeneratedUnpack") {
            throw Failure(kExitRefused, "the service at " + wanted.service + " refuses " +
                                            method.name + ", or gives an answer of another kind");
        }
        throw Failure(kExitStuck, "the service at " + wanted.service +
                                      " gives no usable answer: " + error.info());
    }
}

// Status codes of docs/rpc-protocol.md.
struct Code {
    const char* meaning;
    ExitCode exitCode;
};

Code codeOf(std::int64_t status)
{
    constexpr std::array<Code, 5> kCodes = {{
        {"done", kExitDone},
        {"invalid argument, nothing changed", kExitUsage},
        {"valid, but not now", kExitRefused},
        {"could not be stored", kExitNotStored},
        {"not allowed", kExitRefused},
    }};
    if (status >= 0 && status < static_cast<std::int64_t>(kCodes.size())) {
        return kCodes[static_cast<std::size_t>(status)];
    }
    return {"a code that is not known", kExitFailed};
}

std::string textOf(const Json& answer, const RpcMethod& method)
{
    const Json& result = answer.at("result");
    if (result.is_object()) {
        std::string text;
        for (const auto& each : result.items()) {
            text += padded(each.key(), 14) + textAt(each.value(), "") + "\n";
        }
        return text;
    }
    if (result.is_null()) return "sent; this method answers nothing\n";
    if (!method.isStatus) return textAt(answer, "result") + "\n";
    return textAt(answer, "result") + " (" + textAt(answer, "meaning") + ")\n";
}

void call(const Wanted& wanted, Context& context)
{
    const RpcMethod& method = *findRpcMethod(wanted.method);
    Json result = exchange(wanted, method);
    if (method.showsSecret && !wanted.showsSecrets && result != "") result = kMask;
    Json answer;
    answer["method"] = method.name;
    answer["result"] = std::move(result);
    if (method.isStatus) {
        const Code code = codeOf(answer["result"].get<std::int64_t>());
        answer["meaning"] = code.meaning;
        context.exitCode = code.exitCode;
    }
    printResult(context, answer, [&] { return textOf(answer, method); });
}

}  // namespace

void addCallCommand(CLI::App& app, Context& context)
{
    CLI::App* const command = app.add_subcommand(
        "call", "Call one method of the service over TCP, as the panel's driver does");
    std::vector<std::string> names;
    for (const RpcMethod& each : rpcMethods()) names.emplace_back(each.name);
    const auto wanted = std::make_shared<Wanted>();
    command->add_option("method", wanted->method, "One of the 21 below")
        ->type_name("METHOD")
        ->required()
        ->check(CLI::IsMember(names));
    command->add_option("arguments", wanted->arguments, "Its arguments")->type_name("ARGUMENT");
    command->add_option("--service", wanted->service, "Where the service listens")
        ->type_name("ADDRESS:PORT")
        ->capture_default_str();
    command->add_flag("--show-secrets", wanted->showsSecrets,
                      "Print what getVPNPassword returns instead of " + std::string(kMask));
    command->footer("Methods:\n" + listOfMethods() +
                    "A password is asked for without echo, or read from standard input. Time\n"
                    "limits are the driver's own: 3 s to connect, 10 s to answer.\n"
                    "Exit codes: 0 done, 2 wrong use or result 1, 7 refused or results 2 and 4,\n"
                    "8 nobody there, 11 no usable answer, 12 result 3, 1 another result.");
    command->callback([&context, wanted] { call(*wanted, context); });
}

}  // namespace ctl
