// Known faults of third-party libraries that the sanitizers would otherwise report in our tests.
// The sanitizer runtimes call these hooks when present; other builds never do.

extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
  // JACK's ring buffers are lock-free between a client thread and the process thread, ordered
  // by barriers that ThreadSanitizer does not see.
  return "race:jack_ringbuffer_\n";
}
