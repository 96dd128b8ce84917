#include "tests/support/ICChildProcess.h"
#include "tests/support/ICFiles.h"
#include "tests/support/internal/ICFailure.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string_view>

namespace
{

std::wstring f_programPath()
{
    std::wstring path(0x8000, L'\0');
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

// As the run-time library of the child takes a command line apart: backslashes count double before a quotation mark.
void f_appendArgument(std::wstring & line, std::wstring const & argument)
{
    if (!line.empty()) line += L' ';
    if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
        line += argument;
        return;
    }
    line += L'"';
    std::size_t backslashes = 0;
    for (wchar_t const character : argument) {
        if (character == L'"') line.append(backslashes + 1, L'\\');
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        line += character;
    }
    line.append(backslashes, L'\\');
    line += L'"';
}

struct LESS_WITHOUT_CASE
{
    bool operator()(std::wstring const & left, std::wstring const & right) const
    {
        return ::CompareStringOrdinal(left.c_str(), -1, right.c_str(), -1, TRUE) == CSTR_LESS_THAN;
    }
};

std::wstring f_environment(std::map<std::wstring, std::wstring> const & changes)
{
    std::map<std::wstring, std::wstring, LESS_WITHOUT_CASE> all;
    wchar_t * const block = ::GetEnvironmentStringsW();
    for (wchar_t const * at = block; *at != 0; at += std::wstring_view(at).size() + 1) {
        std::wstring const line = at;
        std::size_t const equals = line.find(L'=', 1); // "=C:=C:\" has a name that begins with the sign.
        all[line.substr(0, equals)] = line.substr(equals + 1);
    }
    ::FreeEnvironmentStringsW(block);
    // A crash is often meant: without this Wine starts a debugger, which takes half a second and writes to stderr.
    std::wstring & overrides = all[L"WINEDLLOVERRIDES"];
    overrides += overrides.empty() ? L"winedbg.exe=d" : L";winedbg.exe=d";
    for (auto const & [name, value] : changes)
        all[name] = value;

    std::wstring environment;
    for (auto const & [name, value] : all) {
        if (!value.empty()) environment.append(name).append(L"=").append(value).push_back(L'\0');
    }
    environment.push_back(L'\0');
    return environment;
}

// Lets a child inherit just these handles, whatever other threads start meanwhile.
class ICInheritance
{
public:
    ICInheritance(HANDLE * handles, std::size_t count)
    {
        SIZE_T size = 0;
        ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        m_bytes = std::make_unique<char[]>(size);
        ::InitializeProcThreadAttributeList(mf_get(), 1, 0, &size);
        ::UpdateProcThreadAttribute(mf_get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles, count * sizeof(*handles),
                                    nullptr, nullptr);
    }
    ICInheritance(ICInheritance const &) = delete;
    ICInheritance & operator=(ICInheritance const &) = delete;
    ~ICInheritance() { ::DeleteProcThreadAttributeList(mf_get()); }

    LPPROC_THREAD_ATTRIBUTE_LIST mf_get() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_bytes.get()); }

private:
    std::unique_ptr<char[]> m_bytes;
};

} // namespace

ICChildProcess::CAPTURE::CAPTURE()
{
    static std::atomic<ulong> number;
    wchar_t path[MAX_PATH + 2] = {};
    ::GetTempPathW(MAX_PATH + 2, path);
    m_path = path + (L"hsmbase-child-" + std::to_wstring(::GetCurrentProcessId())) + L"-" + std::to_wstring(++number);

    SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
    m_handle = ::CreateFileW(m_path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                             CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_handle == INVALID_HANDLE_VALUE) throw f_platformFailure("cannot create", m_path);
}

ICChildProcess::CAPTURE::~CAPTURE()
{
    mf_close();
    ::DeleteFileW(m_path.c_str());
}

void ICChildProcess::CAPTURE::mf_close()
{
    if (m_handle != nullptr) ::CloseHandle(m_handle);
    m_handle = nullptr;
}

ICChildProcess::ICChildProcess(char const * name, ARGUMENTS const & arguments, ICChildOptions const & options)
    : m_timeLimit(options.m_timeLimit)
{
    std::string_view const narrow(name);
    ARGUMENTS all{L"--child=" + std::wstring(narrow.begin(), narrow.end())};
    all.insert(all.end(), arguments.begin(), arguments.end());
    mf_implStart(f_programPath(), all, options);
}

ICChildProcess::ICChildProcess(std::wstring const & program, ARGUMENTS const & arguments,
                               ICChildOptions const & options)
    : m_timeLimit(options.m_timeLimit)
{
    mf_implStart(program, arguments, options);
}

ICChildProcess::~ICChildProcess()
{
    if (!m_isWaitedFor) {
        ::TerminateProcess(m_process, ERROR_CANCELLED);
        ::WaitForSingleObject(m_process, m_timeLimit);
    }
    ::CloseHandle(m_process);
}

ulong ICChildProcess::mf_getExitCode()
{
    mf_implWait();
    return m_exitCode;
}

std::string const & ICChildProcess::mf_getOutput()
{
    mf_implWait();
    return m_output;
}

std::string const & ICChildProcess::mf_getErrors()
{
    mf_implWait();
    return m_errors;
}

std::string ICChildProcess::mf_peekOutput() const
{
    return f_readFile(m_outputFile.m_path);
}

void ICChildProcess::mf_implStart(std::wstring const & program, ARGUMENTS const & arguments,
                                  ICChildOptions const & options)
{
    std::wstring line;
    f_appendArgument(line, program);
    for (std::wstring const & argument : arguments)
        f_appendArgument(line, argument);
    std::wstring environment = f_environment(options.m_environment);

    HANDLE handles[] = {m_outputFile.m_handle, m_errorFile.m_handle};
    ICInheritance inheritance(handles, std::size(handles));
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof(startup);
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdOutput = m_outputFile.m_handle;
    startup.StartupInfo.hStdError = m_errorFile.m_handle;
    startup.lpAttributeList = inheritance.mf_get();
    wchar_t const * const directory = options.m_directory.empty() ? nullptr : options.m_directory.c_str();
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                          CREATE_UNICODE_ENVIRONMENT | EXTENDED_STARTUPINFO_PRESENT, environment.data(), directory,
                          &startup.StartupInfo, &process))
        throw f_platformFailure("cannot start", program);
    ::CloseHandle(process.hThread);
    m_outputFile.mf_close();
    m_errorFile.mf_close();
    m_process = process.hProcess;
    m_id = process.dwProcessId;
}

void ICChildProcess::mf_implWait()
{
    if (m_isWaitedFor) return;
    m_isWaitedFor = true;
    if (::WaitForSingleObject(m_process, m_timeLimit) == WAIT_TIMEOUT) {
        ADD_FAILURE() << "a child process was killed after " << m_timeLimit << " ms";
        ::TerminateProcess(m_process, ERROR_TIMEOUT);
        ::WaitForSingleObject(m_process, m_timeLimit);
    }
    ::GetExitCodeProcess(m_process, &m_exitCode);
    m_output = f_readFile(m_outputFile.m_path);
    m_errors = f_readFile(m_errorFile.m_path);
}

std::wstring f_besideProgram(wchar_t const * name)
{
    std::wstring const program = f_programPath();
    return program.substr(0, program.rfind(L'\\') + 1) + name;
}

constinit ICChildFunction const * ICChildFunction::s_last = nullptr;

ICChildFunction::ICChildFunction(char const * name, FUNCTION function)
    : m_name(name), m_function(function), m_previous(s_last)
{
    s_last = this;
}

ICChildFunction::FUNCTION ICChildFunction::mf_find(std::string const & name)
{
    for (ICChildFunction const * at = s_last; at != nullptr; at = at->m_previous) {
        if (at->m_name == name) return at->m_function;
    }
    return nullptr;
}
