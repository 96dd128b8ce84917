#include "programs/hsmscan/ICPathReport.h"

#include "hsmbase/context/ICColumnFormatter.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/paths/ICFileTime.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/text/ICNumberFormatter.h"
#include "hsmbase/volumes/ICVolume.h"
#include "languages/ResourceIds.h"
#include "programs/hsmscan/ICConsole.h"
#include "programs/hsmscan/ICScanReport.h"
#include "programs/hsmscan/NumberedMessage.h"

namespace
{

// The rows of the report.
class PATH_ROWS
{
public:
    void mf_add(unsigned int label, CString const & value)
    {
        m_columns.mf_addString(ICString(label), value.IsEmpty() ? CString(L"-") : value, CString());
    }
    void mf_addAnswer(unsigned int label, int answer)
    {
        mf_add(label, ICString(answer ? IDS_HSMSCAN_YES : IDS_HSMSCAN_NO));
    }
    void mf_addSize(unsigned int label, ICFileSize const & size)
    {
        mf_add(label, ICNumberFormatter::mf_formatNumber(size));
    }
    // When the file was written last, by this machine's time zone.
    void mf_addTime(unsigned int label, CString const & path)
    {
        FILETIME creation, access, write, local;
        ICPath::mf_getTimes(path, creation, access, write);
        ::FileTimeToLocalFileTime(&write, &local);
        mf_add(label, ICNumberFormatter::mf_formatDateTime(ICFileTime(local), L" "));
    }
    void mf_print() { ICConsole::mf_printLine(m_columns.mf_getString()); }

private:
    ICColumnFormatter m_columns{L"  ", L"  ", 0};
};

void f_addParts(PATH_ROWS & rows, ICPath const & path)
{
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_SERVER, path.mf_getServerPart());
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_VOLUME, path.mf_getVolumePart());
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_DIRECTORY, path.mf_getDirectoryPart());
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_FILE, path.mf_getFilePart());
}

// A form that the path doesn't have is left out.
void f_addForms(PATH_ROWS & rows, ICPath const & path)
{
    bool const isShadowCopy = path.mf_isShadowCopy() != 0;
    bool const isOnDrive = path.mf_isLocal() && !isShadowCopy;
    rows.mf_addAnswer(IDS_HSMSCAN_EXPLAIN_LOCAL, path.mf_isLocal());
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_NTFS, isOnDrive ? path.mf_getNTFSPath() : CString());
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_UNC, isShadowCopy ? CString() : path.mf_getUNCPath());
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_DRIVER, isOnDrive ? path.mf_getDriverPath() : CString());
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_SHADOW_COPY, isShadowCopy ? path.mf_getShadowCopyPath() : CString());
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_LONG, ICLongPath::mf_addLongPathUNCPrefix(path.mf_getPath()));
}

void f_addVolume(PATH_ROWS & rows, ICPath const & path)
{
    if (!path.mf_isLocal() || path.mf_isShadowCopy()) return;
    CString const root = ICVolume::mf_getVolumeRoot(path.mf_getNTFSPath());
    CString const idPath = ICVolume::mf_getVolumeIdPath(root);
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_ROOT, root);
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_VOLUME_ID, idPath);
    // By the id: asked by a letter, Wine reads from the device and complains on the console if it may not.
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_FILE_SYSTEM, ICVolume::mf_getFileSystemName(idPath));
}

void f_addAttributes(PATH_ROWS & rows, ICPath const & path, ulong attributes)
{
    // The file system knows more bits than have names here.
    constexpr ulong RECALL_ON_OPEN = 0x40000;
    constexpr ulong RECALL_ON_DATA_ACCESS = 0x400000;
    constexpr ulong RECALLED = FILE_ATTRIBUTE_OFFLINE | RECALL_ON_OPEN | RECALL_ON_DATA_ACCESS;

    rows.mf_add(IDS_HSMSCAN_EXPLAIN_ATTRIBUTES, ICPath::mf_getAttributesString(attributes, L", "));
    if (!ICPath::mf_isDirectory(attributes)) {
        rows.mf_addSize(IDS_HSMSCAN_EXPLAIN_SIZE, ICPath::mf_getSize(path.mf_getPath()));
        rows.mf_addSize(IDS_HSMSCAN_EXPLAIN_SIZE_ON_DISK, ICPath::mf_getCompressedSize(path.mf_getPath()));
        rows.mf_addTime(IDS_HSMSCAN_EXPLAIN_WRITTEN, path.mf_getPath());
    }
    rows.mf_addAnswer(IDS_HSMSCAN_EXPLAIN_RECALL, (attributes & RECALLED) != 0);
}

} // namespace

void ICPathReport::mf_print()
{
    PATH_ROWS rows;
    rows.mf_add(IDS_HSMSCAN_EXPLAIN_PATH, m_path);
    try {
        CString const absolute = ICPath::mf_getAbsolutePath(m_path);
        bool const isThere = ICPath::mf_exists(absolute) != 0;
        ulong const attributes = isThere ? ICPath::mf_getAttributes(absolute, 1) : 0;
        bool const endsLikeDirectory = absolute[absolute.GetLength() - 1] == L'\\';
        ICPath const path(absolute, isThere ? ICPath::mf_isFile(attributes) : !endsLikeDirectory);
        f_addParts(rows, path);
        f_addForms(rows, path);
        f_addVolume(rows, path);
        rows.mf_addAnswer(IDS_HSMSCAN_EXPLAIN_EXISTS, isThere);
        if (isThere) f_addAttributes(rows, path, attributes);
        rows.mf_print();
    }
    catch (ICErrno & failure) {
        rows.mf_print();
        ICErrno const message = f_withMessage(failure, L"KVR29003E", IDS_KVR29003_TEXT, m_path);
        m_worst.mf_update(message.mf_getErrnoData());
        ICScanReport::mf_printFailure(message);
    }
}
