// A whole session headless: the scripted ui, the virtual clock and the capture backend, with a
// settings folder of its own.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

#include "shell/startup.h"
#include "tests/support/stand_ins.h"

namespace kestrune::testing {

class session_fixture : public ::testing::Test {
  protected:
    std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("kestrune_session_" + std::to_string(::getpid()));
    scripted_ui script;
    virtual_clock clk;
    capture_backend midi;
    engine eng;
    std::unique_ptr<session> s;
    program* p = nullptr;

    void SetUp() override {
        std::filesystem::create_directories(dir);
        ::setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
        eng.attach(clk, &midi);
        s = std::make_unique<session>(eng, script, clk);
        ASSERT_EQ(start_session(*s), 0);
        p = &s->prog;
    }
    void TearDown() override {
        end_session(*s, false);
        std::filesystem::remove_all(dir);
    }
};

}  // namespace kestrune::testing
