// Brings up what the service draws on, by the very calls that the service makes.
#pragma once

#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <KD/kd.h>

#include <string>
#include <vector>

struct ConsoleSurface {
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLConfig config = nullptr;
    EGLContext context = EGL_NO_CONTEXT;
    EGLSurface surface = EGL_NO_SURFACE;
    KDWindow* window = nullptr;
    int screenWidth = 0;  // as the screen service tells them
    int screenHeight = 0;
    int width = 0;  // as the viewport does, once the surface is current
    int height = 0;

    // The call that failed; empty when all went well.
    std::string bringUp();

    // From the next frame on there is a rectangle of that colour, 0 to 255 each, over all earlier
    // ones; origin bottom-left.
    void fill(int x, int y, int rectWidth, int rectHeight, int red, int green, int blue);
    bool swap();

private:
    struct Fill {
        int x, y, width, height;
        int red, green, blue;
    };
    void draw(const Fill& each) const;

    bool chooseConfig();
    void readScreenSize();
    bool makeWindow();
    bool makeCurrent();

    GLuint program = 0;
    std::vector<Fill> fills;
};
