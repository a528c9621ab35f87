// Brings up what the service draws on, by the very calls that the service makes.
#pragma once

#include <EGL/egl.h>
#include <KD/kd.h>

#include <string>

struct ConsoleSurface {
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLConfig config = nullptr;
    EGLSurface surface = EGL_NO_SURFACE;
    KDWindow* window = nullptr;
    int screenWidth = 0;  // as the screen service tells them
    int screenHeight = 0;
    int width = 0;  // as the viewport does, once the surface is current
    int height = 0;

    // The call that failed; empty when all went well.
    std::string bringUp();

    // Fills a rectangle, origin bottom-left, with a colour of 0 to 255 each.
    void fill(int x, int y, int rectWidth, int rectHeight, int red, int green, int blue, int alpha);
    bool swap();

private:
    bool chooseConfig();
    void readScreenSize();
    bool makeWindow();
    bool makeCurrent();
};
