#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/context/ICTlsHandler.h"
#include "hsmbase/registry/ICRegistry.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICRegistrySandbox.h"
#include "tests/support/ICTemporaryDirectory.h"

// A folder of language libraries that a test fills as it needs. At its end what is still loaded from it is unloaded.
class ICLanguageFolder
{
public:
    static constexpr wchar_t ENGLISH[] = L"tnwlangenu.dll";
    static constexpr wchar_t GERMAN[] = L"tnwlangdeu.dll";
    static constexpr wchar_t OLD_VERSION[] = L"fixtures\\version81001.dll";
    static constexpr wchar_t FEW_TEXTS[] = L"fixtures\\version81002.dll";
    static constexpr wchar_t NEW_VERSION[] = L"fixtures\\version81003.dll";
    static constexpr wchar_t NO_VERSION[] = L"fixtures\\noversion.dll";

    ICLanguageFolder() = default;
    ICLanguageFolder(ICLanguageFolder const &) = delete;
    ICLanguageFolder & operator=(ICLanguageFolder const &) = delete;

    ~ICLanguageFolder()
    {
        for (std::wstring const & library : m_placed)
            while (HMODULE const module = ::GetModuleHandleW(library.c_str()))
                ::FreeLibrary(module);
    }

    // Copies a library that was built beside the test program under another name into the folder.
    void mf_place(wchar_t const * built, std::wstring const & library) const
    {
        std::wstring const target = m_directory / library;
        if (!::CopyFileW(f_besideProgram(built).c_str(), f_longPath(target).c_str(), FALSE))
            throw std::runtime_error("cannot place a language library, error " + std::to_string(::GetLastError()));
        m_placed.push_back(target);
    }

    // A file of these bytes.
    void mf_placeBytes(std::string_view bytes, std::wstring const & library) const
    {
        m_placed.push_back(m_directory.mf_makeFile(library, bytes));
    }

    HMODULE mf_getModule(std::wstring const & library) const
    {
        return ::GetModuleHandleW((m_directory / library).c_str());
    }

    // Whether any library of the folder is loaded.
    bool mf_isAnythingLoaded() const
    {
        return std::any_of(m_placed.begin(), m_placed.end(),
                           [](std::wstring const & library) { return ::GetModuleHandleW(library.c_str()) != nullptr; });
    }

    ICTemporaryDirectory const & mf_getDirectory() const { return m_directory; }

private:
    ICTemporaryDirectory m_directory;
    mutable std::vector<std::wstring> m_placed;
};

// Such a folder and a registry root that names it, with the registry up. At its end the language singleton is deleted.
//
//     ICLanguageDirectory const languages(L"German");
//     languages.mf_place(ICLanguageDirectory::OLD_VERSION, L"tnwlangdeu.dll");
//     ICLanguage::mf_createInstance();
class ICLanguageDirectory : public ICLanguageFolder
{
public:
    // `language` is what the registry says; NULL: nothing.
    explicit ICLanguageDirectory(wchar_t const * language = L"English")
    {
        if (language != nullptr) m_registry.mf_writeText(L"", L"Language", language);
        m_registry.mf_writeText(L"", L"LanguageDir", mf_getDirectory().mf_getPath());
        ICRegistry::mf_createInstance(m_registry.mf_getPath().c_str());
    }

    ~ICLanguageDirectory()
    {
        if (ICLanguage::m_pThis != nullptr) ICLanguage::mf_deleteInstance();
        ICRegistry::mf_deleteInstance();
    }

    ICRegistrySandbox const & mf_getRegistry() const { return m_registry; }

private:
    ICRegistrySandbox m_registry;
};

// Thread slot, languages and the main thread's context on top of an ICLanguageDirectory.
class ICStartedLanguages
{
public:
    ICStartedLanguages()
    {
        ICLanguage::mf_createInstance();
        ICTlsHandler::mf_initialize();
        ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 1);
        ICThreadContext::mf_create(ICThreadContext::TYPE_MAIN, 0);
        ICStatus::mf_setStatus(ICStatus::STATUS_MAIN_THREAD, 1);
    }

    ICStartedLanguages(ICStartedLanguages const &) = delete;
    ICStartedLanguages & operator=(ICStartedLanguages const &) = delete;

    ~ICStartedLanguages()
    {
        ICStatus::mf_setStatus(ICStatus::STATUS_MAIN_THREAD, 0);
        ICThreadContext::mf_delete();
        ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 0);
        ICTlsHandler::mf_terminate();
        ICTlsHandler::m_dwIndexContext = 0xffffffff;
        if (ICLanguage::m_pThis != nullptr) ICLanguage::mf_deleteInstance();
    }
};
