// Which renderer draws: the one that VELKARIS_RENDERER names.
#pragma once

#include "renderer/renderer.h"

// Null after printing that the setting names none. Read once.
const Renderer* chosenRenderer();
