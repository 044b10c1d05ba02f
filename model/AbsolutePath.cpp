#include <information_model/AbsolutePath.h>

#include <utility>

namespace kx::information_model {

AbsolutePath::AbsolutePath(std::string host, std::string tree, std::string path)
    : host_(std::move(host)), tree_(std::move(tree)), path_(std::move(path)) {}

std::string AbsolutePath::as_string() const {
    if (host_.empty() && tree_.empty()) {
        return path_;
    }
    std::string text = "//" + host_ + "/" + tree_;
    if (!path_.starts_with('/')) {
        text += '/';
    }
    return text += path_;
}

}  // namespace kx::information_model
