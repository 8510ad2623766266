#pragma once

// The container templates of the core library.
#include "base/HashTable.h"
#include "base/List.h"
#include "base/SearchableList.h"
#include "base/SplayTree.h"
#include "base/Stack.h"
