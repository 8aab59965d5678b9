// frame/progress.cpp: the progress step, through the peer Execution bound
// at attach.
#include "frame/progress.h"

#include "frame/execution_sink.h"

namespace frame {

Word ActiveWindow() { return Sink() == nullptr ? 0 : Peer().window; }

bool ProgressStep(Word window, int percent) {
  const ExecutionSinkBase* session = Sink();
  if (session == nullptr || session->peer_execution == nullptr) return true;
  return session->peer_execution(kEventProgress, static_cast<Word>(percent),
                                 window) != kProgressStop;
}

}  // namespace frame
