// The Quantize Settings and Internal Recording dialogs on the dialog frame.
#pragma once

#include "realtime/recording.h"
#include "shell/dialog_frame.h"

namespace kestrune {

// The method takes effect when chosen; strength and swing as they are stepped. Only OK closes it.
class quantize_settings_view final : public dialog {
  public:
    enum field_id { strength_field = 1, swing_field };
    explicit quantize_settings_view(program& p);
};

// Whether internal recording is on and from which port; applied on OK.
class internal_recording_view final : public dialog {
  public:
    internal_recording_view(program& p, recorder& rec);
    bool ok() override;
    internal_recording_fields fields;

  private:
    recorder& rec_;
};

void run_quantize_settings(program& p);
// Refused while recording, in cycle and with punch; else the dialog, applied on OK.
bool run_internal_recording(program& p, recorder& rec);

}  // namespace kestrune
