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
};

/// Draws a tree: the root's label, and below it the children with lines that lead to them.
/// @param with_lines  draw with box characters; else with "|", "`" and "-"
void print_tree(std::ostream& stream, const TreeNode& root, bool with_lines);

}  // namespace xmlda
