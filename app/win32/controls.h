// The numbers by which the controls of the window are found.
#pragma once

#include <cstddef>

#include "app/form1_view.h"

namespace app {

inline constexpr int kFirstButton = 100;   // and up, by Button
inline constexpr int kFirstVersion = 200;  // and up, by element of L_Ver
inline constexpr int kFirstFrame = 300;
inline constexpr int kFirstLabel = 310;  // Label1
inline constexpr int kList = 320;
inline constexpr int kDate = 321;

inline constexpr int kButtons = 9;
inline constexpr int kVersions = 4;
inline constexpr int kFrames = 2;

constexpr int IdOf(Button button) { return kFirstButton + static_cast<int>(button); }

// From the first to the last that the Tab key reaches.
inline constexpr int kTabOrder[] = {
    IdOf(Button::kCB_DataDB),
    IdOf(Button::kCB_DB_Up),
    IdOf(Button::kCB_TenkaiDB),
    IdOf(Button::kCB_TenkaiDB_Up),
    kList,
    IdOf(Button::kCommand1),
    IdOf(Button::kCommand4),
    IdOf(Button::kCommand5),
    IdOf(Button::kCommand2),
    IdOf(Button::kCommand3),
};

}  // namespace app
