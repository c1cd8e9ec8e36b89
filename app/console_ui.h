// A ui for the command line: every message goes to standard error on one line.
#pragma once

#include <cstdio>
#include <string>

#include "core/ui.h"

namespace kestrune {

class console_ui final : public ui {
public:
    // Answers every question with `answer` (the tool answers Yes to the warnings it meets).
    explicit console_ui(msg_answer answer = msg_answer::yes) : answer_(answer) {}

    msg_answer message(const std::string& text, msg_icon, msg_buttons buttons, msg_answer,
                       const std::string&) override {
        std::fprintf(stderr, "%s\n", message_line(text).c_str());
        ++messages_;
        if (buttons == msg_buttons::ok) return msg_answer::ok;
        ++questions_;
        if (buttons == msg_buttons::ok_cancel)
            return answer_ == msg_answer::yes ? msg_answer::ok : msg_answer::cancel;
        return answer_;
    }
    std::optional<std::string> open_file_dialog(const file_dialog_request&) override { return {}; }
    std::optional<std::string> save_file_dialog(const file_dialog_request&) override { return {}; }
    void wait_cursor() override {}
    void arrow_cursor() override {}
    void repaint(int) override {}

    int messages() const { return messages_; }
    int questions() const { return questions_; }

private:
    msg_answer answer_;
    int messages_ = 0;
    int questions_ = 0;
};

}  // namespace kestrune
