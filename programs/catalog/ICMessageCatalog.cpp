#include "programs/catalog/ICMessageCatalog.h"

#include <algorithm>
#include <cwchar>

#include "languages/ResourceIds.h"

namespace
{

using ERROR_CONSTANT = ICMessageCatalog::ERROR_CONSTANT;

constexpr ICMessageCatalog::MESSAGE MESSAGES[] = {
#define KVR_MESSAGE(number, textId, insertId) {L"" #number, textId, insertId},
#include "languages/NumberedMessages.def"
};

constexpr int SEVERITY_BITS = 24; // the severity stands above them

#define ICERRNO_I(name, id, resource) {0x01u << SEVERITY_BITS | id, L"" #name, resource},
#define ICERRNO_W(name, id, resource) {0x02u << SEVERITY_BITS | id, L"" #name, resource},
#define ICERRNO_E(name, id, resource) {0x03u << SEVERITY_BITS | id, L"" #name, resource},
#define ICERRNO_S(name, id, resource) {0x04u << SEVERITY_BITS | id, L"" #name, resource},
constexpr ERROR_CONSTANT CONSTANTS[] = {
#include "hsmbase/failure/ICErrnoConstants.def"
};
static_assert(std::ranges::is_sorted(CONSTANTS, {}, &ERROR_CONSTANT::number));

constexpr std::span<ERROR_CONSTANT const> f_constants(ulong severity)
{
    auto const severityOf = [](ERROR_CONSTANT const & constant) { return constant.number >> SEVERITY_BITS; };
    auto const found = std::ranges::equal_range(CONSTANTS, severity, {}, severityOf);
    return {found.begin(), found.end()};
}

// In the order of the top bytes, from 1.
constexpr ICMessageCatalog::SEVERITY SEVERITIES[] = {
    {IDS_SEVERITY_INFORMATION, L"ICErrno::_I_::", f_constants(1)},
    {IDS_SEVERITY_WARNING, L"ICErrno::_W_::", f_constants(2)},
    {IDS_SEVERITY_ERROR, L"ICErrno::_E_::", f_constants(3)},
    {IDS_SEVERITY_SEVERE, L"ICErrno::_S_::", f_constants(4)},
};

} // namespace

std::span<ICMessageCatalog::MESSAGE const> ICMessageCatalog::mf_getMessages()
{
    return MESSAGES;
}

std::span<ICMessageCatalog::SEVERITY const> ICMessageCatalog::mf_getSeverities()
{
    return SEVERITIES;
}

ICMessageCatalog::MESSAGE const * ICMessageCatalog::mf_findMessage(CString const & number)
{
    auto const * const found = std::ranges::find_if(
        MESSAGES, [&number](MESSAGE const & message) { return number.CompareNoCase(message.number) == 0; });
    return found == std::end(MESSAGES) ? nullptr : found;
}

ICMessageCatalog::ERROR_CONSTANT const * ICMessageCatalog::mf_findError(CString const & number)
{
    constexpr int MAX_DIGITS = 8;
    CString const digits = number.Left(2).CompareNoCase(L"0x") == 0 ? number.Mid(2) : number;
    bool const isNumber = digits.GetLength() <= MAX_DIGITS && digits.SpanIncluding(L"0123456789abcdefABCDEF") == digits;
    if (!isNumber) return nullptr;
    // Without digits it is 0, which no constant has.
    auto const * const found = std::ranges::find(CONSTANTS, std::wcstoul(digits, nullptr, 16), &ERROR_CONSTANT::number);
    return found == std::end(CONSTANTS) ? nullptr : found;
}

ICMessageCatalog::SEVERITY const & ICMessageCatalog::mf_getSeverity(ERROR_CONSTANT const & constant)
{
    return SEVERITIES[(constant.number >> SEVERITY_BITS) - 1];
}
