#pragma once

namespace brindlevane {

/// Sends what the process writes to standard error nowhere while at least one object lives.
///
/// Some libraries print notes with no way to turn them off. Objects may overlap on several
/// threads: the first one silences, the last one restores. Where standard error is closed or
/// cannot be redirected, nothing changes.
class StandardErrorSilencer {
 public:
  StandardErrorSilencer();
  StandardErrorSilencer(StandardErrorSilencer&& other) noexcept;
  StandardErrorSilencer& operator=(StandardErrorSilencer&& other) = delete;
  ~StandardErrorSilencer();

 private:
  bool active_ = true;
};

}  // namespace brindlevane
