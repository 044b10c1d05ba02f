#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace xmlda {

/// A node of a tree to be drawn. All texts are printable.
struct TreeNode {
    std::string label;
    std::string remark;                // stands to the right, all remarks in one column
    std::vector<std::string> details;  // lines below the label
    std::vector<TreeNode> children;
    std::string style = {};  // of the remark, see Style.h; may be empty
};

/// Draws a tree: the root's label, and below it the children with lines that lead to them.
/// @param with_lines  draw with box characters; else with "|", "`" and "-"
/// @param width       remarks are cut where they go beyond; a remark for which there is no room is left out
void print_tree(std::ostream& stream, const TreeNode& root, bool with_lines, std::size_t width);

}  // namespace xmlda
