#include "Quarkspindle/Version.h"
#include "Quarkspindle/WindowModule.h"
#include "Quarkspindle/window/RunWindow.h"
#include "Quarkspindle/window/Snapshot.h"

// What the module exports, and nothing else: the version script beside this file repeats the name.

extern "C" [[gnu::visibility("default")]] const Quarkspindle::WindowModule windowModule;

const Quarkspindle::WindowModule windowModule{
    .Version = Quarkspindle::cVersion,
    .RunWindow = &Quarkspindle::gRunWindow,
    .TakeSnapshot = &Quarkspindle::gTakeSnapshot,
};
