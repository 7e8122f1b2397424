#pragma once
// Hands captured buffers from the audio thread to the current recognition request. Buffers that
// arrive while no request is set are held (up to 400, about 17 s at 48 kHz) so that the start of
// an utterance is never lost, and reach the next request in capture order before any newer one.
// The lock is held only to move buffers; appending to the request happens outside it.

#include "platform/AudioBuffer.h"
#include "platform/SpeechRecognizer.h"

#include <memory>
#include <mutex>
#include <vector>

namespace selvar {

class RequestBox {
public:
  static constexpr std::size_t kPendingCap = 400;

  // Called from the audio thread for every captured buffer.
  void append(const AudioBuffer &buffer);
  // Points the box at a new request and hands it the held buffers; nothing leaves them held.
  void set(std::shared_ptr<RecognitionRequest> request);
  std::shared_ptr<RecognitionRequest> current() const;
  // Forgets the request and every held buffer (a new capture session starts clean).
  void reset();
  std::size_t pendingCount() const;

private:
  mutable std::mutex lock_;
  std::shared_ptr<RecognitionRequest> request_;
  std::vector<AudioBuffer> pending_;
  // A hand-over of held buffers is running outside the lock; new buffers queue behind it.
  bool flushing_ = false;
};

} // namespace selvar
