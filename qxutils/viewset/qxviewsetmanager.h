// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

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

/// One view of a view set. Field order is part of the binary interface.
struct ViewInfo {
  /// Bytes of one item. With a size below 1 the view has no buffer and stays empty.
  int itemSize;

  /// The caller's own. The library never reads it.
  int sortColumn;
};

/// A view set: any number of streams of fixed-size items, called views.
///
/// Views are written in any interleaving while one temporary file is open, within a fixed budget of
/// memory. The last Close splits that file into one file per view. A view's number is its position
/// in the vector given to the constructor.
///
/// How a set works: construct it. For each view take its buffer from GetViewBuffer and a storage
/// from TempFileStorageMgr::getObject(view, manager, buffer). Write through the storages in any
/// order and close each once. Take each view's file with GetFile. A view file holds the view's
/// items in the order of writing, without a header. The last Close has two files open at most.
///
/// Files lie in the settings' temporary folder. The shared file has the prefix "qxfBIG", view files
/// have "qxf", and all have the extension "tmp". A relative folder is fixed when the set is made,
/// whatever the host does with its working folder later. There is one exception: a relative folder
/// is kept where its absolute path does not lead to it. An example is a working folder with a
/// parent that can't be searched. If the host then changes its working folder, the last Close
/// throws FileOpenError. Names of view files are relative there, so the destructor finds them only
/// if the host has not moved.
///
/// With the library's own storage (no storagePrototype):
/// - Each file is created exclusively and close-on-exec, and is never written or read through a
///   descriptor from 0 to 2. Free ones are held for a moment while a file is opened. Only its owner
///   can read and write it, whatever the umask, where the file system has permissions.
/// - The last Close removes the shared file. The destructor removes the view files that GetFile did
///   not hand out. A file that can't be opened after its creation is removed at once.
/// - A set destroyed before its last Close succeeds, or without views, leaves its shared file. So
///   work in a folder of your own (CreateTempSubDirectory) and remove it whole.
/// - A file that another one has replaced (another device or inode) is neither read nor removed.
///   Where a file system changes the inodes of its files, view files may therefore stay.
/// - A child made by fork has copies of buffered bytes. Let it start another program or end with
///   _exit. With exit it would write these copies into the shared file.
/// - REQUIRES: nobody else renames or removes files in the folder (not checked).
///
/// With an engine's storage the library creates and removes no file. The names given to Open may
/// repeat within a set, since nothing stands on disk under them. Tell such storages apart by their
/// sequence ids.
///
/// A failure of a file is reported by QxUtilsException with one of the four texts. An exception of
/// an engine's own storage passes through.
///
/// After a failed write to the shared file, or one that threw, the set never completes. From then
/// on, Close of an open view and writing its buffer out throw FileWriteError. Buffers that have
/// room still accept items. After a failed last Close, writes through the storages and Close return
/// -1. In both cases GetFile returns null.
///
/// Running out of memory is std::bad_alloc, or FileOpenError within the C library's fopen. After a
/// bad_alloc of Write, or of Close while CheckAllClosed returns false, the call may be made again.
/// It then does what it was to do, or throws FileWriteError when a write had failed.
///
/// A set, its buffers and its storages are used by one thread at a time. Sets are independent of
/// each other. `settings` must outlive the set. Not copyable.
///
/// Field order is part of the binary interface.
class QXUTILS_EXPORT QxViewSetManager {
 public:
  /// Makes a set whose `views` are all open, and its shared file. The buffers of all views share
  /// `bufferMemory` bytes. Each buffer holds the same number of items: the memory divided by the
  /// sum of the item sizes, but at least 10. There are fewer where the greatest buffer would
  /// otherwise have 2 GiB or more.
  ///
  /// Throws QxUtilsException with FileOpenError in these cases. No file is left then.
  /// - The shared file can't be created or opened.
  /// - No storage is available.
  /// - The path of a relative folder is too long to be fixed.
  QxViewSetManager(long bufferMemory, const std::vector<ViewInfo>& views,
                   const Arbex_800::EnvironmentSettings& settings);

  /// Releases everything. With the library's own storage, removes the view files that were not
  /// handed out. Allowed at any time. Never throws.
  ~QxViewSetManager();

  QxViewSetManager(const QxViewSetManager&) = delete;
  QxViewSetManager& operator=(const QxViewSetManager&) = delete;

  /// Returns the view's buffer, which stays the manager's. The last Close overwrites its bytes.
  /// Null when the view is unknown or `itemSize` is not the view's own.
  QxViewBuffer* GetViewBuffer(int view, int itemSize);

  /// Writes the view's buffer to the shared file now. Does nothing when the view is unknown, closed
  /// or without a buffer. Throws as WriteBufferToFile does.
  void Write(int view);

  /// Writes out the rest of the view's buffer and closes the view. Closing the last open view makes
  /// all view files. Returns 0. Returns -1, with nothing changed, when the view is unknown or
  /// closed already.
  ///
  /// Throws FileWriteError when the rest can't be written or an earlier write of the set failed.
  /// The view stays open then. The last Close also throws:
  /// - FileWriteError when bytes of the shared file or of a view file could not be written.
  /// - FileOpenError when the shared file can't be opened for reading or another file has replaced
  ///   it.
  /// - FileOpenError when a view file can't be created or opened, or no storage is available.
  /// - FileSeekError or FileReadError when the shared file can't be read.
  int Close(int view);

  /// Returns the view's file as a closed storage. The caller owns the storage and the file that its
  /// GetFileName names. Read the file with a BinFileIterator on that name, or Open the storage with
  /// mode 0. Then remove the file.
  ///
  /// Returns null when the view is unknown, before the last Close has succeeded, and when the file
  /// was handed out before.
  TempFileStorage* GetFile(int view);

  /// Whether every view is closed. True for a set without views.
  bool CheckAllClosed();

  /// Notes that the next segment of the shared file holds `items` items of the view. Called by
  /// WriteBufferToFile. Does nothing when the view is unknown or has an item size below 1, or when
  /// the count is negative or too large to address. Throws std::bad_alloc, with nothing changed.
  ///
  /// REQUIRES: these items were appended to the file (not checked here; the last Close then throws
  /// FileReadError or FileSeekError).
  void UpdateIndex(int view, long items);

  /// Appends the items in `buffer` to the shared file as one segment of the view, and empties the
  /// buffer. Does nothing when `buffer` is null, or when the view is unknown, closed or without a
  /// buffer of its own.
  ///
  /// Throws FileWriteError, with buffer and index unchanged, when not every byte could be written
  /// or an earlier write of the set failed. Throws FileWriteError, too, when the buffer's item size
  /// is not the view's. That does not count as a failed write. Throws std::bad_alloc, before
  /// anything is written or in place of FileWriteError.
  ///
  /// REQUIRES: the buffer holds no more items than the view's own can (not checked here; the last
  /// Close then throws FileReadError).
  void WriteBufferToFile(QxViewBuffer* buffer, int view);

 private:
  using Segment = std::pair<long, long>;  // start in the shared file in bytes, number of items

  QXUTILS_LOCAL bool IsKnown(int view) const;
  QXUTILS_LOCAL void Split();
  QXUTILS_LOCAL void MakeViewFile(std::size_t view);
  QXUTILS_LOCAL void CopySegment(std::size_t view, const Segment& segment);

  QXUTILS_UNUSED long fBufferMemory;  // bytes
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
