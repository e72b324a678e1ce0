// Handing freed memory back to the system. glibc keeps freed memory for the
// next allocation and returns the top of its heap only when the free space
// there passes its trim threshold: a small block that outlives a pass (the
// client's connection, a queued command) pins everything freed below it, and
// the pages of many small blocks freed amid the heap (a walk's rows, a written
// document's blocks) stay with the process. The controller's memory is shared
// with the programs that keep the headend on air, so the agent gives whole
// free pages back after a pass and after letting go of a large command's
// memory. A trim costs about 25 K instructions at 8 modules against 4.5 M for
// the pass itself (bench/steady_state.sh), plus re-faulting the pages the
// next pass touches. The blocks glibc caches per thread (up to 7 of each small
// size) are not trimmed; that cache fills over the first couple of hundred
// passes and then stays. Other C libraries have no such call (uClibc claims
// to be glibc); their allocators decide for themselves.
#pragma once

namespace dorel_remote_control {

void returnFreedMemory();

}  // namespace dorel_remote_control
