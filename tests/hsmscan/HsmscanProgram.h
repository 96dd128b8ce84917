#pragma once

#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ICChildProcess.h"
#include "tests/support/ICRegistrySandbox.h"
#include "tests/support/ICTemporaryDirectory.h"

// The program as its users start it, with a registry root of its own.
class Hsmscan : public testing::Test
{
protected:
    struct RUN
    {
        ulong exitCode;
        std::string output;
        std::string errors;
    };

    RUN mf_run(std::vector<std::wstring> arguments) const
    {
        arguments.insert(arguments.begin(), {L"--root", m_registry.mf_getPath(), L"--log-dir", m_logs.mf_getPath()});
        ICChildProcess scan(f_besideProgram(L"hsmscan.exe"), arguments);
        return {scan.mf_getExitCode(), scan.mf_getOutput(), scan.mf_getErrors()};
    }

    // The number in the line of a total.
    static long long mf_total(std::string const & output, std::string const & label)
    {
        std::smatch match;
        std::regex const line("\\n *" + label + " +([0-9,]+)\\r");
        if (!std::regex_search(output, match, line)) return -1;
        std::string number = match[1];
        std::erase(number, ',');
        return std::stoll(number);
    }

    // The value in the row of an explained path.
    static std::string mf_row(std::string const & output, std::string const & label)
    {
        std::smatch match;
        std::regex const line("(^|\\n) *" + label + "  +([^\\r]*)\\r");
        return std::regex_search(output, match, line) ? match[2].str() : "no such row in " + output;
    }

    ICRegistrySandbox const m_registry;
    ICTemporaryDirectory const m_directory;
    ICTemporaryDirectory const m_logs;
};
