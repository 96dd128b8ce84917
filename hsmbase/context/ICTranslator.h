#pragma once

#include "hsmbase/Types.h"

class ICProgramFrame;

// Makes wide text of 8-bit text that came in the system's ANSI code page.
//
//     CString name;
//     ICTranslator::mf_convertAscii(record.name, record.nameLength, name);
//
// Threads: any. The singleton is created and deleted by the start-up code, on one thread; no lock.
class HSMBASE_EXPORT ICTranslator
{
public:
    ICTranslator(ICTranslator const &) = delete;
    ICTranslator & operator=(ICTranslator const &) = delete;

    // Converts `length` bytes, up to 2,047 characters; `result` ends at the first NUL. It is left alone on failure.
    // Throws Initialization without the singleton, Parameter for a NULL text, Conversion for text that is too long or
    // not of the code page.
    static void mf_convertAscii(char const * text, ulong length, CString & result);

private:
    friend class ICProgramFrame;

    // Asks the system for its code page. Throws System.
    ICTranslator();
    virtual ~ICTranslator();

    // Throws AlreadyInitialized, Memory, and what the constructor throws.
    static void mf_createInstance();

    // Without an instance only a warning is written.
    static void mf_deleteInstance();

    void mf_implConvertAscii(char const * text, ulong length, CString & result) const;

    static ICTranslator * m_pThis;

    unsigned int m_codePage;
};
