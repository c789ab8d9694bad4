#pragma once

// The functions of <GL/glx.h> that are hooked. That header needs those of X, which nothing else here does.

extern "C" {

struct _XDisplay; // NOLINT(bugprone-reserved-identifier)

void glXSwapBuffers(_XDisplay* display, unsigned long drawable);
void (*glXGetProcAddress(const unsigned char* name))();
void (*glXGetProcAddressARB(const unsigned char* name))();
}
