#pragma once

#include <memory>
#include <vector>

#include "base/StringClass.h"
#include "runtime/StatementState.h"

class DoContext;

// The OxDO contexts of a request, most recently used first. The top machine
// owns the cache; the cache owns the contexts, whose machines name the top
// machine as their parent.
class DoContextCache : public StatementState {
  public:
    DoContextCache();
    // Contexts without runs in progress go first, then the rest.
    ~DoContextCache() override;

    // The context of a normalized path, moved to the front; null when none.
    DoContext* Find(const String& filepath);
    // Makes room for one more context under a limit of most (0: none): the
    // least recently used go first. Contexts with runs in progress stay, so
    // the limit may be passed.
    void Evict(int most);
    // Puts context at the front; returns it.
    DoContext* Insert(std::unique_ptr<DoContext> context);

  private:
    std::vector<std::unique_ptr<DoContext>> contexts_;
};
