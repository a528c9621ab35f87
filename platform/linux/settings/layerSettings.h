// Every environment variable that the Linux layer reads, in one place. The service itself has none.
//
// VELKARIS_WINDOW     where the console is drawn: WINDOW or WINDOW:ARGUMENT, for instance
//                     "wayland", "x11:800x480", "kms:/dev/dri/card1", "headless:1280x480". "auto",
//                     unset or empty: what the machine has, in the order of the table of windows;
//                     "auto:800x480": if that is a window, of this size.
// VELKARIS_ROTATION   how far kms and fbdev turn the picture, in degrees clockwise: "0", "90",
//                     "180", "270". "auto", unset or empty: as far as the kernel turns its own text
//                     console. The other windows take no other value than "0" and "auto".
// VELKARIS_RENDERER   what draws: "cpu"; "gl": the machine's own OpenGL ES library. "auto", unset
//                     or empty: cpu.
// VELKARIS_CAPTURE    a folder: every presented frame is written there as frame-NNNNNN.png, and
//                     latest.png follows the newest. Unset or empty: nothing is written.
// VELKARIS_NODE       another path for the device node, for service and clients alike.
// VELKARIS_NODE_KIND  "cuse", "fuse" or "socket", to insist on one. Unset or empty: the first of
//                     these that this process may serve at that path.
// VELKARIS_NODE_MODE  the node's permissions in octal, for instance "0660". Unset or empty: those
//                     that the service asks for.
// VELKARIS_NODE_GROUP the node's group, by name or number. Unset or empty: the process's own.
#pragma once

#include <string>

struct LayerSettings {
    std::string windowName;      // text before the colon
    std::string windowArgument;  // text after the colon, uninterpreted; empty if there is none
    std::string rotation;        // empty: automatic
    std::string renderer;        // empty: automatic
    std::string captureFolder;   // empty: no capture
    std::string nodePath;        // empty: the path that the service asks for
    std::string
        nodeKind;  // "cuse", "fuse", "socket", empty; anything else is an error for its reader
    std::string nodeMode;   // empty: what the service asks for; uninterpreted
    std::string nodeGroup;  // empty: the process's own; uninterpreted
};

// The settings as the environment holds them now. Read where they are needed, once each.
LayerSettings readLayerSettings();
