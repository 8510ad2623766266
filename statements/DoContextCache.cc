#include "statements/DoContextCache.h"

#include <strings.h>

#include <algorithm>

#include "statements/DoContext.h"

DoContextCache::DoContextCache() = default;

DoContextCache::~DoContextCache() {
    for (bool removed = true; removed;) {
        removed = false;
        for (auto at = contexts_.begin(); at != contexts_.end(); ++at) {
            if ((*at)->RefCount() == 0) {
                // Out of the list before it goes, so the list is whole then.
                std::unique_ptr<DoContext> gone = std::move(*at);
                contexts_.erase(at);
                removed = true;
                break;
            }
        }
    }
    contexts_.clear();
}

DoContext* DoContextCache::Find(const String& filepath) {
    for (auto at = contexts_.begin(); at != contexts_.end(); ++at) {
        const String& path = (*at)->filepath();
        if (path.length() == filepath.length() &&
            strncasecmp(path.c_str(), filepath.c_str(), filepath.length()) == 0) {
            std::rotate(contexts_.begin(), at, at + 1);
            return contexts_.front().get();
        }
    }
    return nullptr;
}

void DoContextCache::Evict(int most) {
    for (size_t i = contexts_.size();
         most > 0 && contexts_.size() >= static_cast<size_t>(most) && i-- > 0;) {
        if (contexts_[i]->RefCount() != 0) continue;
        std::unique_ptr<DoContext> gone = std::move(contexts_[i]);
        contexts_.erase(contexts_.begin() + static_cast<long>(i));
    }
}

DoContext* DoContextCache::Insert(std::unique_ptr<DoContext> context) {
    contexts_.insert(contexts_.begin(), std::move(context));
    return contexts_.front().get();
}
