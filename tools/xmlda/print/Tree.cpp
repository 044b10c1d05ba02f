#include "xmlda/print/Tree.h"

#include "xmlda/print/Style.h"
#include "xmlda/text/width.h"

#include <algorithm>

namespace xmlda {
namespace {

constexpr std::size_t GAP = 2;

/// What leads to a node and past it.
struct Strokes {
    const char* branch;
    const char* last_branch;
    const char* passing;
    const char* nothing;
    const char* passing_detail;  // in front of a detail of a node that has children
};

constexpr Strokes LINES{"├── ", "└── ", "│   ", "    ", "│ "};
constexpr Strokes ASCII{"|-- ", "`-- ", "|   ", "    ", "| "};

struct Line {
    std::string text;
    std::string remark;
    std::string style;
};

class Painter {
public:
    explicit Painter(const Strokes& strokes) : strokes_(strokes) {}

    void draw(const TreeNode& node, const std::string& leader, const std::string& continuation) {
        lines_.push_back({leader + node.label, node.remark, node.style});
        const char* const below = node.children.empty() ? "  " : strokes_.passing_detail;
        const std::string start = continuation + below;
        for (const std::string& detail : node.details) {
            lines_.push_back({start + detail, "", ""});
        }
        for (const TreeNode& child : node.children) {
            const bool is_last = &child == &node.children.back();
            draw(child, continuation + (is_last ? strokes_.last_branch : strokes_.branch),
                 continuation + (is_last ? strokes_.nothing : strokes_.passing));
        }
    }

    void print(std::ostream& stream, std::size_t room) const {
        std::size_t width = 0;
        for (const Line& line : lines_) {
            width = std::max(width, line.remark.empty() ? 0 : get_width(line.text) + GAP);
        }
        for (const Line& line : lines_) {
            if (line.remark.empty() || width >= room) {
                stream << line.text << '\n';
                continue;
            }
            const std::string remark = cut_to_width(line.remark, room - width);
            stream << pad_to_width(line.text, width)
                   << (line.style.empty() ? remark : line.style + remark + style::PLAIN) << '\n';
        }
    }

private:
    const Strokes& strokes_;
    std::vector<Line> lines_;
};

}  // namespace

void print_tree(std::ostream& stream, const TreeNode& root, bool with_lines, std::size_t width) {
    Painter painter(with_lines ? LINES : ASCII);
    painter.draw(root, "", "");
    painter.print(stream, width);
}

}  // namespace xmlda
