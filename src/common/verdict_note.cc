#include "common/verdict_note.h"

namespace tav {

namespace {
VerdictNotes* g_notes = nullptr;
std::vector<std::string>* g_lines = nullptr;
}  // namespace

VerdictNotes::VerdictNotes() {
  g_notes = this;
  g_lines = &lines_;
}

VerdictNotes::~VerdictNotes() {
  if (g_notes == this) g_notes = nullptr, g_lines = nullptr;
}

void note_failure(const char* line) {
  if (g_lines != nullptr && line != nullptr) g_lines->push_back(line);
}

}  // namespace tav
