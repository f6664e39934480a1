#include "device/DevBas.h"
#include "device/DevTables.h"
#include "device/ServiceFailure.h"
#include "host/StatusCodes.h"

namespace
{

// Line number in the diagnostic; a constant of the output, not a place in this file.
constexpr int kDiagnosticLine = 293;

constexpr const char* kWriteKeyword = "ORVA_WRITE";

struct Command {
    const CString& word;
    int (*handler)(ORVA_DATA& data, const CString& arguments);
};

// In dispatch order: the first word that matches wins.
constexpr Command kCommands[kCommandCount] = {
    {IOCTRL_STR_PROPERTYNAME[0], &CDevBas::_SetVPNServer},
    {IOCTRL_STR_PROPERTYNAME[1], &CDevBas::_SetVPNCA},
    {IOCTRL_STR_PROPERTYNAME[2], &CDevBas::_SetDeviceSN},
    {IOCTRL_STR_PROPERTYNAME[3], &CDevBas::_StartVPN},
    {IOCTRL_STR_PROPERTYNAME[4], &CDevBas::_StopVPN},
    {IOCTRL_STR_PROPERTYNAME[5], &CDevBas::_SetAliveTime},
    // On purpose: whatever stands between its parentheses is ignored.
    {IOCTRL_STR_PROPERTYNAME[6],
     [](ORVA_DATA& data, const CString&) { return CDevBas::_RefreshData(data); }},
    {IOCTRL_STR_PROPERTYNAME[7], &CDevBas::_ActivateVPN},
    {IOCTRL_STR_PROPERTYNAME[8], &CDevBas::_SetOnline},
    {IOCTRL_STR_PROPERTYNAME[9], &CDevBas::_SetOffline},
    {IOCTRL_STR_PROPERTYNAME[10], &CDevBas::_GetPasswd},
    {IOCTRL_STR_PROPERTYNAME[11], &CDevBas::_SetPasswd},
};

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// On purpose not strcasecmp or MakeUpper: the host's locale has a say in them, and in a
// Turkish one "i" and "I" are two letters.
bool isWord(const char* name, const char* word)
{
    for (; *name != '\0' && lowered(*name) == lowered(*word); ++name) ++word;
    return *name == *word;
}

const Command* findCommand(const char* name)
{
    for (const Command& command : kCommands) {
        if (isWord(name, command.word)) return &command;
    }
    return nullptr;
}

}  // namespace

int CDevBas::mfDevIOCtrl(ORVA_DATA& data, CString& command, CArray<double, double>& numbers,
                         CStringArray& texts)
{
    numbers.SetSize(kChannelCount + 1);
    texts.SetSize(kChannelCount + 1);

    const int open = command.Find('(');
    const int close = command.Find(')');
    if (open < 0 || close < 0) return kResultBadCommand;

    CString name = command.Left(open);
    // One by one: not every runtime's CString hands itself back.
    name.TrimLeft();
    name.TrimRight();
    // On purpose: what the first ")" cuts off is lost, also when it stands before the "(".
    CString arguments;
    if (close > open) arguments = command.Mid(open + 1, close - open - 1);
    arguments.TrimLeft();
    arguments.TrimRight();

    // On purpose before initData: the write path connects only for a channel that can be written.
    if (isWord(name, kWriteKeyword)) return mfDevIOWriteChannel(data, arguments);

    const Command* found = findCommand(name);
    if (found == nullptr) return kResultBadCommand;
    if (!initData(data.pDevData)) return kResultNoService;
    try {
        return found->handler(data, arguments);
    } catch (const QZ::Net::Exception& failure) {
        return endWithServiceFailure("mfDevIOCtrl", kDiagnosticLine, failure, data.pDevData);
    }
}

bool CDevBas::_SplitString(const char* text, char separator, std::vector<QZ::utils::String>& fields)
{
    QZ::utils::String field;
    bool found = false;
    for (const char* p = text; p != nullptr && *p != '\0'; ++p) {
        if (*p == separator) {
            fields.push_back(field.trim());
            field.clear();
            found = true;
        } else {
            field += *p;
        }
    }
    fields.push_back(field.trim());
    return found;
}
