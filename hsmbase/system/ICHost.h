#pragma once

#include "hsmbase/Types.h"

// A host by its name, with a port.
//
//     ICHost const server(L"srv:1500");
//     if (!ICHost::mf_isValidName(server.mf_getName())) ...
//     CString const shown = server.mf_toString();            // "srv:1500"
//
// Text and port stand apart at the first colon, so there is no place for addresses of the kind that has colons itself.
//
// A port text is read as a decimal number up to the first character that doesn't fit: "15x" is 15, "x" is 0, and "-1"
// is PORT_NONE. What is read is not checked; see mf_isValidPort.
//
// Threads: a plain value.
class HSMBASE_EXPORT ICHost
{
public:
    static int const PORT_NONE = -1;   // no port at all
    static int const PORT_DEFAULT = 0; // whatever port is usual

    // No name, and PORT_NONE.
    ICHost();

    // See mf_splitNameAndPort.
    ICHost(CString const & nameAndPort);

    ICHost(CString const & name, int port);
    ICHost(CString const & name, CString const & port);

    ICHost(ICHost const &) = default;
    ~ICHost() = default;
    ICHost const & operator=(ICHost const & other);

    // Whether the ports are equal, and the names without regard to case.
    int operator==(ICHost const & other) const;
    int operator!=(ICHost const & other) const;

    CString const & mf_getName() const;
    void mf_setName(CString const & name);

    int mf_getPort() const;
    void mf_setPort(CString const & port);

    // The number; empty for PORT_NONE and PORT_DEFAULT.
    CString mf_getPortString() const;

    // Whether the port is a number of its own.
    int mf_hasPort() const;

    // Whether the name is empty, whatever the port.
    int mf_isEmpty() const;

    // The name, with a colon and the port if there is one. Empty without a name.
    CString mf_toString() const;

    // What stands before the first colon, and the port behind it. Without a colon: the whole text, and PORT_DEFAULT.
    static void mf_splitNameAndPort(CString const & text, CString & name, int & port);

    // Whether there is a name, of letters without accents, digits, '-' and '.', neither of which stands at its start or
    // end. Length and labels are not looked at: "a..b" is valid.
    //
    // Every name is valid, with a warning in the trace, while the value DisableHostNameValidation below the root of
    // ICRegistry in HKEY_LOCAL_MACHINE is a number other than 0. Never throws: where that value can't be read, there is
    // a trace line, and the name is looked at.
    static int mf_isValidName(CString const & name);

    // Whether it is one of 1 to 65535.
    static int mf_isValidPort(int port);

private:
    CString m_sName;
    int m_nPort;
};
