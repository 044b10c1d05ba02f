#include "xml/ThreadCache.h"

#include "base/PerThread.h"

#include <utility>

namespace kx::information_model::opc {

namespace {

// More than twice as many as there are names in all replies together: the pool is a hash table.
constexpr unsigned long REPLY_POOL_SIZE = 101;

PerThread<ThreadCache>& get_caches() {
    static PerThread<ThreadCache> caches;
    return caches;
}

}  // namespace

ThreadCache& ThreadCache::get() {
    return get_caches().get();
}

void ThreadCache::trim() noexcept {
    ThreadCache* const cache = get_caches().find();
    if (cache != nullptr && cache->request_names_ != nullptr && !cache->request_names_->is_worth_keeping()) {
        cache->request_names_.reset();
    }
}

std::unique_ptr<ExpatParser> ThreadCache::take_parser() {
    return parser_ != nullptr ? std::move(parser_) : std::make_unique<ExpatParser>();
}

void ThreadCache::keep_parser(std::unique_ptr<ExpatParser> parser) noexcept {
    if (parser->reset()) {
        parser_ = std::move(parser);
    }
}

std::shared_ptr<NameTable> ThreadCache::get_request_names() {
    if (request_names_ == nullptr || !request_names_->is_worth_keeping()) {
        request_names_ = std::make_shared<NameTable>();
    }
    return request_names_;
}

Poco::XML::NamePool& ThreadCache::get_reply_names() {
    if (reply_names_.isNull()) {
        reply_names_ = new Poco::XML::NamePool(REPLY_POOL_SIZE);
    }
    return *reply_names_;
}

}  // namespace kx::information_model::opc
