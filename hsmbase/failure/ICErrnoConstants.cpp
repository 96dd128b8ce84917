#include "hsmbase/failure/ICErrno.h"

// The constants need no run time: whatever static meets them first finds them built.
#define ICERRNO_I(name, id, resource) constexpr ICErrnoValue ICErrno::_I_::name(0x01000000 | id, resource);
#define ICERRNO_W(name, id, resource) constexpr ICErrnoValue ICErrno::_W_::name(0x02000000 | id, resource);
#define ICERRNO_E(name, id, resource) constexpr ICErrnoValue ICErrno::_E_::name(0x03000000 | id, resource);
#define ICERRNO_S(name, id, resource) constexpr ICErrnoValue ICErrno::_S_::name(0x04000000 | id, resource);
#include "hsmbase/failure/ICErrnoConstants.def"
