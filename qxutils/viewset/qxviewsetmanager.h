#ifndef QXUTILS_VIEWSET_QXVIEWSETMANAGER_H
#define QXUTILS_VIEWSET_QXVIEWSETMANAGER_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qxutils/export.h"
#include "qxutils/host/environmentsettings.h"
#include "qxutils/storage/tempfilestorage.h"

namespace qxg_800 {

class QxViewBuffer;
class QXUTILS_EXPORT StoredFile;

// One view of a view set. Field order is part of the binary interface.
struct ViewInfo {
  int itemSize;    // bytes of one item; a view with an item size below 1 has no buffer and stays
                   // empty
  int sortColumn;  // the caller's; never read
};

// A view set: any number of streams of fixed-size items, called views.
//
// Views are written in any interleaving while one temporary file is open, within a fixed budget of
// memory. The last close splits that file into one file per view. A view's number is its position
// in the vector given to the constructor.
//
// How a set works: construct it. For each view take GetViewBuffer and a storage from
// TempFileStorageMgr::getObject(view, manager, buffer). Write through the storages and close each
// once. Take each view's file with GetFile. A view file holds the view's items in the order of
// writing, raw, without a header. The last Close has two files open at most.
//
// Files lie in the settings' temporary folder: the shared file with the prefix "qxfBIG", the view
// files with "qxf", all with the extension "tmp". A relative folder is fixed when the set is made,
// whatever the host does with its working folder later. There is one exception. Where the path of
// the working folder can't be searched, the relative folder is kept. If the host then moves, the
// last Close throws FileOpenError; names of view files are relative there.
//
// With the library's own storage (no storagePrototype):
// - Each file is created exclusively, readable and writable by its owner alone whatever the umask,
//   close-on-exec, and never gets a descriptor from 0 to 2.
// - The last Close removes the shared file. The destructor removes the view files that GetFile did
//   not hand out. A file that can't be opened after its creation is removed at once.
// - A set destroyed before its last Close succeeds, or without views, leaves its shared file. So
//   work in a folder of your own (CreateTempSubDirectory) and remove it whole.
// - A file that another one has replaced (another device or inode) is neither read nor removed.
//   Nobody else may rename or remove files in the folder.
// - A child made by fork has copies of buffered bytes. Let it end with _exit or start another
//   program: exit would write these copies into the shared file.
//
// With an engine's storage the library creates and removes no file. The names given to Open may
// repeat within a set, since nothing stands on disk under them. Tell such storages apart by their
// sequence ids.
//
// Failures of files are QxUtilsException with one of the four texts. After a failed write to the
// shared file, an exception of an engine's own storage (which passes through) or a failed last
// Close, nothing more can be written or taken: Write and Close throw or return -1, GetFile returns
// null. Running out of memory is std::bad_alloc. Thrown by Write it changes nothing, so that the
// call may be made again.
//
// A set, its buffers and its storages are used by one thread at a time. Sets are independent of
// each other. `settings` must outlive the set. Not copyable.
//
// Field order is part of the binary interface.
class QXUTILS_EXPORT QxViewSetManager {
 public:
  // `bufferMemory` in bytes is shared by the buffers of all views, each of which holds the same
  // number of items: the memory divided by the sum of the item sizes, at least 10, and no more than
  // keeps the greatest buffer below 2 GiB.
  //
  // Throws QxUtilsException with FileOpenError when the shared file can't be created or opened, no
  // storage is available, or the path of a relative folder is too long to be fixed. Nothing stays
  // behind then.
  QxViewSetManager(long bufferMemory, const std::vector<ViewInfo>& views,
                   const Arbex_800::EnvironmentSettings& settings);

  // Removes the view files that were not handed out (with the library's own storage) and releases
  // everything else. Allowed at any time; never throws.
  ~QxViewSetManager();

  QxViewSetManager(const QxViewSetManager&) = delete;
  QxViewSetManager& operator=(const QxViewSetManager&) = delete;

  // The view's buffer, which stays the manager's; the last Close overwrites its bytes. Null for an
  // unknown view, or when `itemSize` is not the view's own.
  QxViewBuffer* GetViewBuffer(int view, int itemSize);

  // Writes the view's buffer out to the shared file now. Does nothing for a view that is unknown,
  // closed or without a buffer. Throws as WriteBufferToFile does.
  void Write(int view);

  // Writes out the rest of the view's buffer and closes the view; closing the last open view makes
  // all view files. Gives 0, or -1, with nothing changed, for an unknown view or one that is closed
  // already.
  //
  // Throws FileWriteError when the rest can't be written (the view then stays open). Of the last
  // close: FileWriteError when the shared file or a view file can't be brought out whole,
  // FileOpenError when the shared file can't be read back, a view file can't be made, or no storage
  // was to be had, FileSeekError and FileReadError when the shared file can't be read.
  int Close(int view);

  // The view's file as a closed storage, which is the caller's from here on, as is the file that
  // its GetFileName names: read it with a BinFileIterator on that name or Open it with mode 0, and
  // remove it. Null for an unknown view, before the last Close has succeeded, and when it was
  // handed out before.
  TempFileStorage* GetFile(int view);

  // Whether every view is closed; true for a set without views.
  bool CheckAllClosed();

  // Notes that a segment of `items` items of the view comes next in the shared file. Called by
  // WriteBufferToFile; of use elsewhere only to who appends segments in another way. Does nothing
  // for an unknown view, one with an item size below 1, a negative count, or one too large to
  // address.
  void UpdateIndex(int view, long items);

  // Appends the items in `buffer` to the shared file as one segment of the view and empties it.
  // Does nothing when `buffer` is null or the view is unknown, closed or without a buffer of its
  // own.
  //
  // Throws FileWriteError, with buffer and index unchanged, when not every byte could be written or
  // an earlier write of the set failed, and also, with nothing spoiled, when the buffer's item size
  // is not the view's. Throws std::bad_alloc before anything is written. REQUIRES: the buffer holds
  // no more items than the view's own can (not checked here; the last Close then throws
  // FileReadError).
  void WriteBufferToFile(QxViewBuffer* buffer, int view);

 private:
  using Segment = std::pair<long, long>;  // start in the shared file in bytes, number of items

  QXUTILS_LOCAL bool IsKnown(int view) const;
  QXUTILS_LOCAL void Split();
  QXUTILS_LOCAL void MakeViewFile(std::size_t view);
  QXUTILS_LOCAL void CopySegment(std::size_t view, const Segment& segment);

  [[maybe_unused]] long fBufferMemory;  // bytes
  std::vector<ViewInfo> fViews;
  const Arbex_800::EnvironmentSettings& fSettings;
  std::unique_ptr<StoredFile> fpStorage;                // of the shared file
  std::string fFileName;                                // of the shared file
  std::vector<std::unique_ptr<QxViewBuffer>> fBuffers;  // per view; null without items
  std::vector<StoredFile> fFiles;            // per view; empty before the split and once taken
  std::vector<std::vector<Segment>> fIndex;  // per view, in the order of writing
  long fPosition = 0;                        // bytes in the shared file
  std::vector<bool> fClosed;                 // per view
  std::size_t fNumOpen = 0;                  // views that are not closed
  bool fWriteFailed = false;                 // the shared file's end is unknown
  std::string fFolder;                       // of the files
  bool fComplete = false;                    // the last Close has succeeded
};

}  // namespace qxg_800

#endif
