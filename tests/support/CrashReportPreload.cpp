#include "support/CrashReport.h"

// For programs the tests only run (dawctl, the examples): LD_PRELOAD=libzar_crash_report_preload.so
// gives them the crash report without linking it in.
[[gnu::constructor]] static void installCrashReport() { zar::test::CrashReport::install(); }
