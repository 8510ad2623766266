#include "runtime/Feature.h"

#include "runtime/OxinVM.h"

Feature::Feature(OxinApplication* application, OxinVM* vm, int id)
    : application_(application), vm_(vm), frame_(vm->Frame()), id_(id) {}
