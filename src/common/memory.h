// Handing freed memory back to the system. The controller's memory is shared
// with the programs that keep the headend on air, and free() keeps the pages
// of small blocks amid the heap for the process; after letting go of many of
// them (a walk's rows, a written document), the agent gives those pages back.
#pragma once

namespace dorel_remote_control {

void returnFreedMemory();

}  // namespace dorel_remote_control
