// What an item knows about its own verdict that its console text hides: a
// kept success line after a failed check. Ignored unless a station record is
// being made, so the behaviour and its bytes are the same either way.
#pragma once

#include <string>
#include <vector>

namespace tav {

// A line saying what failed; kept only while a VerdictNotes lives.
void note_failure(const char* line);

// Collects the notes made while it lives; one at a time.
class VerdictNotes {
 public:
  VerdictNotes();
  ~VerdictNotes();
  VerdictNotes(const VerdictNotes&) = delete;
  VerdictNotes& operator=(const VerdictNotes&) = delete;
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  std::vector<std::string> lines_;
};

}  // namespace tav
