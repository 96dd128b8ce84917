#pragma once

#include "hsmbase/Types.h"

class ICVolume;

// A directory of one volume at which another volume is mounted.
//
//     ICArray<ICMountPoint, ICMountPoint &> mountPoints;
//     volume.mf_getMountPoints(mountPoints);
//     for (INT_PTR index = 0; index < mountPoints.GetCount(); ++index)
//         names.Add(mountPoints[index].mf_getFullPath());
//
// A mount point refers to its two volumes and owns neither: a copy is good as long as they are.
//
// Threads: a mount point belongs to one thread at a time; those of a volume are guarded by the volume's mutex.
class HSMBASE_EXPORT ICMountPoint
{
public:
    // On no volume, with an empty path: what an array makes of itself.
    ICMountPoint();

    // `path` is relative to the root of `volume` and ends in a backslash. `mountedVolume` may be NULL: not known yet.
    ICMountPoint(ICVolume const * volume, CString const & path, ICVolume const * mountedVolume);
    ICMountPoint(ICMountPoint const &) = default;
    ICMountPoint & operator=(ICMountPoint const &) = default;
    virtual ~ICMountPoint();

    // The volume's id path and the path on it: "\\?\Volume{...}\data\archive\".
    CString mf_getFullPath() const;

    // Two lines: the full path, and the volume mounted there, "N/A" where that is not known. `prefix` stands ahead of
    // the first line only.
    CString mf_toString(CString const & prefix) const;

    // Another volume than before is taken too, with a warning in the trace.
    void mf_setMountedVolume(ICVolume const * volume);

private:
    friend class ICVolume;

    ICVolume const * m_pVolume = nullptr;
    CString m_szPath;
    ICVolume const * m_pMountedVolume = nullptr;
};
