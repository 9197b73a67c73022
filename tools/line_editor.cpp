#include "line_editor.hpp"

#include <histedit.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "function_words.hpp"

namespace morvex::cli {
namespace {

constexpr int kHistorySize = 1000;

// Keys that terminals send for Home and End, in their several dialects.
constexpr const char* kHomeKeys[] = {"\\e[H", "\\eOH", "\\e[1~", "\\e[7~"};
constexpr const char* kEndKeys[] = {"\\e[F", "\\eOF", "\\e[4~", "\\e[8~"};

std::string CommonPrefixIgnoringCase(const std::vector<std::string>& words) {
  std::string prefix = words.front();
  for (const std::string& word : words) {
    std::size_t same = 0;
    while (same < prefix.size() && same < word.size() && (prefix[same] | 0x20) == (word[same] | 0x20)) ++same;
    prefix.resize(same);
  }
  return prefix;
}

}  // namespace

struct LineEditor::State {
  EditLine* editor = nullptr;
  History* entries = nullptr;
  std::optional<std::string> historyFile;
  NameSource names;
  std::string prompt;
  bool discarded = false;  // Ctrl-C ended the last read

  static char* Prompt(EditLine* editor) {
    State* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return self->prompt.data();
  }

  // Tab: one candidate is put in place of the word; several are completed as
  // far as they agree, and listed when that adds nothing.
  static unsigned char Complete(EditLine* editor, int /*key*/) {
    State* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    const LineInfo* info = el_line(editor);
    const std::string_view line(info->buffer, static_cast<std::size_t>(info->lastchar - info->buffer));
    const auto cursor = static_cast<std::size_t>(info->cursor - info->buffer);
    const std::size_t start = WordStart(line, cursor);
    const std::string_view word = line.substr(start, cursor - start);
    const std::vector<std::string> candidates =
        CompletionCandidates(line.substr(0, start), word, self->names ? self->names() : std::vector<std::string>{});
    if (candidates.empty()) return CC_ERROR;
    const std::string completion = candidates.size() == 1 ? candidates.front() : CommonPrefixIgnoringCase(candidates);
    if (completion.size() > word.size() || candidates.size() == 1) {
      el_deletestr(editor, static_cast<int>(word.size()));
      el_insertstr(editor, completion.c_str());
      return CC_REFRESH;
    }
    std::string listing = "\n";
    for (const std::string& candidate : candidates) listing += candidate + "  ";
    listing += '\n';
    std::fwrite(listing.data(), 1, listing.size(), stdout);
    std::fflush(stdout);
    return CC_REDISPLAY;
  }

  // Ctrl-C: the line typed so far is dropped and the prompt comes again, as
  // in a shell. The terminal does not turn the key into an interrupt while a
  // line is being edited, so that the session goes on; during a computation it
  // still interrupts the program.
  static unsigned char Discard(EditLine* editor, int /*key*/) {
    State* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    self->discarded = true;
    std::fputs("^C\n", stdout);
    std::fflush(stdout);
    return CC_NEWLINE;
  }

  void Save() const {
    if (!historyFile) return;
    HistEvent event;
    if (history(entries, &event, H_SAVE, historyFile->c_str()) >= 0) {
      ::chmod(historyFile->c_str(), 0600);  // what a user typed is theirs alone
    }
  }
};

std::optional<std::string> DefaultHistoryFile() {
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home == '\0') return std::nullopt;
  return std::string(home) + "/.morvex_history";
}

LineEditor::LineEditor(std::optional<std::string> historyFile, NameSource names) : state_(std::make_unique<State>()) {
  state_->historyFile = std::move(historyFile);
  state_->names = std::move(names);
  HistEvent event;
  state_->entries = history_init();
  history(state_->entries, &event, H_SETSIZE, kHistorySize);
  history(state_->entries, &event, H_SETUNIQUE, 1);
  if (state_->historyFile) history(state_->entries, &event, H_LOAD, state_->historyFile->c_str());

  EditLine* editor = el_init("morvex", stdin, stdout, stderr);
  state_->editor = editor;
  el_set(editor, EL_CLIENTDATA, state_.get());
  el_set(editor, EL_EDITOR, "emacs");
  el_set(editor, EL_SIGNAL, 1);
  el_set(editor, EL_HIST, history, state_->entries);
  el_set(editor, EL_PROMPT, &State::Prompt);
  // The wide form: the narrow one copies the two names and never frees them.
  el_wset(editor, EL_ADDFN, L"morvex-complete", L"complete a word", &State::Complete);
  el_set(editor, EL_BIND, "^I", "morvex-complete", nullptr);
  el_set(editor, EL_SETTY, "-d", "-isig", nullptr);
  el_wset(editor, EL_ADDFN, L"morvex-discard", L"drop the line", &State::Discard);
  el_set(editor, EL_BIND, "^C", "morvex-discard", nullptr);
  el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
  for (const char* key : kHomeKeys) el_set(editor, EL_BIND, key, "ed-move-to-beg", nullptr);
  for (const char* key : kEndKeys) el_set(editor, EL_BIND, key, "ed-move-to-end", nullptr);
  el_source(editor, nullptr);  // the user's own ~/.editrc, if any
}

LineEditor::~LineEditor() {
  el_end(state_->editor);
  history_end(state_->entries);
}

bool LineEditor::ReadLine(std::string_view prompt, std::string& line) {
  state_->prompt.assign(prompt);
  int count = 0;
  const char* text = nullptr;
  do {
    state_->discarded = false;
    text = el_gets(state_->editor, &count);
  } while (state_->discarded);
  if (text == nullptr || count <= 0) return false;
  line.assign(text, static_cast<std::size_t>(count));
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  return true;
}

void LineEditor::Remember(const std::string& line) {
  if (line.empty()) return;
  HistEvent event;
  history(state_->entries, &event, H_ENTER, line.c_str());
  state_->Save();  // at once, so that a session that is killed keeps its lines
}

}  // namespace morvex::cli
