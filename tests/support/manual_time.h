#pragma once

#include "src/common/sync.h"

namespace GrpOwnerTest {

/// A clock that stands still: Sleep moves it on, and so does this. Locks and threads are real ones.
/// For programs that link manual_time.cpp in the place of the standard library's implementation.
void AdvanceTime(ProcMgr::Milliseconds duration);

}  // namespace GrpOwnerTest
