// Known faults of third-party libraries that the sanitizers would otherwise report in our tests.
// The sanitizer runtimes call these hooks when present; other builds never do.

extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
  // RtMidi 5.0's JACK output never frees the two ring buffers it makes per client.
  return "leak:jack_ringbuffer_create\n";
}

extern "C" const char* __tsan_default_suppressions() {
  // JACK's ring buffers are lock-free between a client thread and the process thread, ordered
  // by barriers that ThreadSanitizer does not see.
  return "race:jack_ringbuffer_\n";
}
