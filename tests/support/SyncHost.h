// What tests can do to the threads of the native build.
#pragma once

namespace sync_host {

/// Makes the `nth` thread from now on (1: the next one) not start; 0: none.
void FailThread(int nth);

}  // namespace sync_host
