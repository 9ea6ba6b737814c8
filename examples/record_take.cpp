// The minimal host: records one take of cue 101 against the simulated Pro Tools.
// Usage: record_take [SETTINGS_DIRECTORY]   (the mode files go there; default: a temporary one)
#include <ZAR_DAWControl/ZAR_DAWControl.h>
#include <ZAR_DAWControl/platform/default/SimulatedProToolsHost.h>

#include <cstdio>
#include <filesystem>

int main(int argc, char** argv) {
  // The simulated studio, in virtual time so the take runs at once. This thread is the main thread.
  zar::platform::SimulatedProToolsHost::Options options;
  options.virtualTime = true;
  options.supportDirectory = argc > 1 ? argv[1] : (std::filesystem::temp_directory_path() / "zar-record-take").string();
  zar::platform::SimulatedProToolsHost studio(options);

  const auto manager = ZAR_DAWApplicationManager::sharedManager();
  manager->setAllowed(true);
  manager->setEnabled(true);

  // Ready for a pass: Pro Tools found, HUI answered and every track's lamps known.
  std::shared_ptr<ZAR_DAWApplication> app;
  for (int tries = 0; tries < 300 && !(app && app->readyForPass()); ++tries) {
    studio.runFor(0.1);
    app = manager->currentApplication();
  }
  if (!app || !app->readyForPass()) {
    std::fprintf(stderr, "Pro Tools did not answer\n");
    return 1;
  }
  std::printf("session:%s, %zu tracks\n", app->currentProject().value_or("").c_str(), app->audioTracks().size());

  // Track 0 records in the record pass with the default mode "Record".
  for (const auto& mode : *manager->trackModeList()->audioTrackModes()) {
    if (mode->name() == "Record") manager->muteRecMatrix()->setRecordMode(mode, 0);
  }

  // Cue 101 of JO, 01:00:10:00 to 01:00:12:00 at 24 fps, recorded on the first record track.
  constexpr std::int64_t fps = 24;
  const auto cue = std::make_shared<ZAR_VisualEvent>();
  cue->setStartTCString("01:00:10:00");
  cue->setEndTCString("01:00:12:00");
  cue->setInPointFrameIndex((3600 + 10) * fps);
  cue->setEndFrameIndex((3600 + 12) * fps);
  cue->setRecTrackIndex(0);
  cue->setCueNumber("101");
  cue->setCharacter(std::make_shared<ZAR_Character>("JO"));

  app->recordWithEvent(cue);
  for (std::int64_t frame = cue->inPointFrameIndex() - fps; frame <= cue->endFrameIndex() + fps; ++frame) {
    app->updateDAWTrackStatesForFrameIndex(frame);
    studio.runFor(1.0 / fps);
  }
  app->stopPlayback();
  studio.runFor(0.5);

  const auto recordTracks = app->recordTracks();
  std::printf("takes: %d, record track: %s\n", cue->numRecordedTakes(),
              recordTracks.empty() ? "none" : recordTracks[0]->name().c_str());
  manager->setEnabled(false);
  return cue->numRecordedTakes() == 1 ? 0 : 1;
}
