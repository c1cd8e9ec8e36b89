// File > Export Audio... without a display: the file dialog, the progress and its Cancel through
// the ui, the song rendered through the built-in synth.
#include "shell/audio_export.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "core/command_ids.h"
#include "engine/gm_synth.h"
#include "shell/dispatch.h"
#include "shell/startup.h"
#include "tests/platform/song_maker.h"
#include "tests/shell/session_fixture.h"

namespace kestrune::testing {
namespace {

namespace fs = std::filesystem;

using AudioExport = session_fixture;

TEST_F(AudioExport, RendersTheSongIntoTheChosenFileAndCancelLeavesNone) {
    if (default_soundfont().empty()) GTEST_SKIP() << "no General MIDI SoundFont installed";
    add_audio_export(*s);
    write_midi_song((dir / "tune.mid").string(), 2, 8);
    ASSERT_TRUE(open_start_file(*s, (dir / "tune.mid").string()));
    const std::string out = (dir / "tune.wav").string();

    script.file_names = {std::nullopt, out, out};
    EXPECT_EQ(dispatch_command(*s, cmd::export_audio), outcome::cancelled);  // no file chosen
    script.cancel_at = 1;
    EXPECT_EQ(dispatch_command(*s, cmd::export_audio), outcome::cancelled);
    EXPECT_FALSE(fs::exists(out));
    script.cancel_at = -1;
    script.progress_done.clear();
    EXPECT_EQ(dispatch_command(*s, cmd::export_audio), outcome::done);
    EXPECT_EQ(script.dialogs.back().file_name, "tune.wav");
    EXPECT_EQ(script.progress_done.back(), 1.0);  // the box closes
    // Eight eighth notes at 120: two seconds and some release, 24-bit stereo at 48 kHz.
    const auto bytes = fs::file_size(out);
    EXPECT_GT(bytes, 2u * 48000 * 6);
    EXPECT_LT(bytes, 6u * 48000 * 6);
    // Then a word with the file's name, its length in whole seconds and a peak below full scale.
    const int seconds = static_cast<int>((bytes - 44) / (48000.0 * 6) + 0.5);
    EXPECT_EQ(script.last_text().substr(0, 37), "Exported tune.wav\nLength 0:0" + std::to_string(seconds) + ", peak -");
    EXPECT_NE(script.last_text().find(" dBFS"), std::string::npos);
}

}  // namespace
}  // namespace kestrune::testing
