#include "programs/hsmscan/ICMachineReport.h"

#include "hsmbase/context/ICString.h"
#include "hsmbase/system/ICSystem.h"
#include "hsmbase/volumes/ICStorage.h"
#include "hsmbase/volumes/ICVolume.h"
#include "languages/ResourceIds.h"
#include "programs/hsmscan/ICConsole.h"

static constexpr wchar_t INDENT[] = L"  ";

void ICMachineReport::mf_printSystem()
{
    ICConsole::mf_printLine(ICString(IDS_HSMSCAN_HEADING_SYSTEM));
    ICConsole::mf_printLine(INDENT + ICSystem::mf_getSystemVersionString());
    ICConsole::mf_printLine(ICSystem::mf_toString(INDENT));
}

void ICMachineReport::mf_printVolumes()
{
    ICStorage::mf_update(1);
    ICArray<ICVolume *, ICVolume *> volumes;
    ICStorage::mf_getVolumes(volumes);
    for (INT_PTR index = 0; index < volumes.GetCount(); ++index) {
        ICVolume const & volume = *volumes[index];
        CString const name = volume.mf_hasDriveLetter() ? volume.mf_getDriveLetterPath() : volume.mf_getIdPath();
        ICConsole::mf_printLine(ICString(IDS_HSMSCAN_HEADING_VOLUME, name.GetString()));
        ICConsole::mf_printLine(volume.mf_toString(INDENT));
        ICConsole::mf_printLine(CString());
    }
}
