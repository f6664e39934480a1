#pragma once

#include "ctl/base/ExitCodes.h"

#include <stdexcept>
#include <string>

namespace ctl
{

// Why a command ends without its result. The text holds no secrets; what others have put
// into it is masked when it is shown.
class Failure : public std::runtime_error
{
public:
    Failure(ExitCode exitCode, const std::string& text, std::string remedy = {})
        : std::runtime_error(text), m_exitCode(exitCode), m_remedy(std::move(remedy))
    {
    }

    ExitCode exitCode() const { return m_exitCode; }
    // What to do about it; may be empty.
    const std::string& remedy() const { return m_remedy; }
    // Of an error that the service told: its code in docs/control-api.md; else empty.
    const std::string& code() const { return m_code; }
    Failure& withCode(std::string code)
    {
        m_code = std::move(code);
        return *this;
    }

private:
    ExitCode m_exitCode;
    std::string m_remedy;
    std::string m_code;
};

}  // namespace ctl
