#pragma once

#include "service/core/Controller.h"
#include "service/net/IRpcHandler.h"
#include "service/rpc/CallTimer.h"
#include "service/rpc/RpcValues.h"
#include "service/rpc/VpnValues.h"

#include <memory>
#include <string_view>
#include <tuple>
#include <type_traits>

// One call from block to block, for RpcMethods.cpp alone.
namespace vpnd
{

using QZ::utils::IBuffer;

struct Request {
    Controller& controller;
    const char* method;
    Right right;
    const Caller& caller;
    IBuffer& args;
    IBuffer& result;
    IPendingCall& call;
    const CallTimer& timer;

    // For what a change refuses by itself.
    void refused(Outcome outcome, std::string_view detail = {}) const
    {
        controller.refused(caller, method, outcome, detail);
    }
};

// What a change answers.
enum class Answer {
    kCode,
    kServerCode,  // the driver takes a 3 for success, so it is 0, 1 or 2
    kNothing,
};

inline std::int32_t codeOf(Outcome outcome)
{
    switch (outcome) {
        case Outcome::kDone:
            return kResultDone;
        case Outcome::kInvalid:
            return kResultInvalid;
        case Outcome::kNotNow:
            return kResultNotNow;
        case Outcome::kNotAllowed:
            return kResultNotAllowed;
        case Outcome::kNotStored:
        case Outcome::kPending:
            break;
    }
    return kResultNotStored;
}

inline const char* writeCode(IBuffer& result, Answer answer, Outcome outcome)
{
    if (answer == Answer::kNothing) return nullptr;  // the client still waits for the empty answer
    const std::int32_t code = codeOf(outcome);
    const bool isForServer = answer == Answer::kServerCode && code > kResultNotNow;
    return writeResult(result, isForServer ? kResultNotNow : code) ? nullptr : "answer too large";
}

template <class... Arguments>
const char* readArguments(IBuffer& block, std::tuple<Arguments...>& values)
{
    ArgumentReader reader(block, static_cast<std::int32_t>(sizeof...(Arguments)));
    std::apply([&](auto&... value) { (reader.read(value), ...); }, values);
    return reader.finish();
}

// One method from block to block. Its arguments and its result say what the blocks hold.
template <auto Function>
struct Read;

template <class Result, class... Arguments, Result (*Function)(const Request&, Arguments...)>
struct Read<Function> {
    static const char* run(const Request& request)
    {
        std::tuple<std::decay_t<Arguments>...> values;
        if (const char* refusal = readArguments(request.args, values)) return refusal;
        if (!request.controller.admits(request.caller, request.right, request.method)) {
            if (request.right == Right::kRead) return "not allowed";
            return writeResult(request.result, Result()) ? nullptr : "answer too large";
        }
        const Result result =
            std::apply([&](const auto&... value) { return Function(request, value...); }, values);
        return writeResult(request.result, result) ? nullptr : "answer too large";
    }
};

// What becomes of a change: done at once it writes into the block of its call.
struct Course {
    IBuffer* block = nullptr;  // as long as the call lasts
    const char* answer = QZ::RPC::kAnswersLater;
    LaterReply later;
    CallTimer timer;
};

class InCall
{
public:
    InCall(Course& course, IBuffer& block) : m_course(course) { course.block = &block; }
    ~InCall() { m_course.block = nullptr; }
    InCall(const InCall&) = delete;
    InCall& operator=(const InCall&) = delete;

private:
    Course& m_course;
};

template <auto Function, Answer How>
struct Change;

template <class... Arguments,
          void (*Function)(const Request&, const Controller::Done&, Arguments...), Answer How>
struct Change<Function, How> {
    static const char* run(const Request& request)
    {
        std::tuple<std::decay_t<Arguments>...> values;
        if (const char* refusal = readArguments(request.args, values)) return refusal;
        if (!request.controller.admits(request.caller, Right::kChange, request.method)) {
            return writeCode(request.result, How, Outcome::kNotAllowed);
        }
        const auto course = std::make_shared<Course>();
        course->timer = request.timer;
        const InCall inCall(*course, request.result);
        const Controller::Done done = [course](Outcome outcome) {
            const auto write = [outcome](IBuffer& block) { return writeCode(block, How, outcome); };
            if (course->block != nullptr) {
                course->answer = write(*course->block);
            } else {
                course->timer.stop();
                course->later.finish(write);
            }
        };
        std::apply([&](const auto&... value) { Function(request, done, value...); }, values);
        if (course->answer == QZ::RPC::kAnswersLater) course->later = request.call.answerLater();
        return course->answer;
    }
};

}  // namespace vpnd
