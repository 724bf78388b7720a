// What the leak sanitizer is to pass over, and not to report either; without that sanitizer,
// nothing calls this.

// libsndfile forgets a few kilobytes each time it gives up on a damaged Vorbis stream.
// NOLINTBEGIN(readability-identifier-naming, bugprone-reserved-identifier): the sanitizer's names.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:vorbis_info_init\n";
}
extern "C" const char* __lsan_default_options();
extern "C" const char* __lsan_default_options() {
  return "print_suppressions=0";
}
// NOLINTEND(readability-identifier-naming, bugprone-reserved-identifier)
