// The benchmarks' ui: messages go to standard error, questions take their default answer.
#pragma once

#include <cstdio>
#include <optional>
#include <string>

#include "core/ui.h"

namespace kestrune {

class quiet_ui final : public ui {
public:
    msg_answer message(const std::string& text, msg_icon, msg_buttons, msg_answer default_answer,
                       const std::string&) override {
        std::fprintf(stderr, "message: %s\n", text.c_str());
        return default_answer;
    }
    std::optional<std::string> open_file_dialog(const file_dialog_request&) override { return std::nullopt; }
    std::optional<std::string> save_file_dialog(const file_dialog_request&) override { return std::nullopt; }
    void wait_cursor() override {}
    void arrow_cursor() override {}
    void repaint(int) override {}
};

}  // namespace kestrune
