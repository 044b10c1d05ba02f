#pragma once

#include "xmlda/commands/WatchView.h"
#include "xmlda/record/Recorder.h"

#include <cstddef>
#include <string>

namespace xmlda {

/// Records what happens to watched items, what one reply brings in one transaction, and then says so: on a
/// terminal in a line that is drawn over, elsewhere in a line for each transaction. What it has said survives
/// the end of the program.
class RecordView : public WatchView {
public:
    /// @throws Failure  FAILURE: the database cannot be used
    RecordView(const Arguments& arguments, Console& console);
    RecordView(const RecordView&) = delete;
    RecordView& operator=(const RecordView&) = delete;
    ~RecordView() override;

    void show_change(std::size_t index, const ShownItem& item) override;
    void take_items(const std::vector<std::optional<std::size_t>>& origins) override;
    void end_reply() override;
    void make_way() override;
    void come_back() override;

private:
    void draw();

    const Arguments& arguments_;
    Console& console_;
    Recorder recorder_;
    std::size_t changes_ = 0;
    std::string shown_;  // the line on the terminal
};

}  // namespace xmlda
