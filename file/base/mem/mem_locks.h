// The in-process table of advisory locks on memory files: shared locks
// (many holders) and exclusive locks (one holder), keyed by node, with the
// conflict rules of flock(2) between independent holders.
#ifndef FILE_BASE_MEM_LOCKS_H_
#define FILE_BASE_MEM_LOCKS_H_

#include <memory>

#include "file/base/util/base_types.h"
#include "file/base/util/lock_info.h"

namespace file {
namespace mem {

// Takes the lock `request` asks for on node `node_id`; a blocking request
// waits for conflicting holders to let go, a try-lock fails with
// EWOULDBLOCK. Returns 0 or an errno value; the lock is released when *held
// is destroyed.
int AcquireNodeLock(int64 node_id, const LockInfo& request,
                    std::unique_ptr<HeldLock>* held);

}  // namespace mem
}  // namespace file

#endif  // FILE_BASE_MEM_LOCKS_H_
