#pragma once

#include <chrono>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace plant {

/// Something that goes wrong for a while.
struct Fault {
    enum class Kind {
        SENSOR,  ///< an item's value stands still, with the quality of a broken sensor
        JUMP,    ///< an item's value is off by `by`
        FREEZE,  ///< time stands still in the whole plant
        DROP     ///< connections are closed and new ones refused; subscriptions are lost
    };

    std::chrono::milliseconds begin{0};  ///< behind the start of the plant, or of the repetition
    std::chrono::milliseconds length{0};
    Kind kind = Kind::SENSOR;
    std::string item;  ///< of SENSOR and JUMP: its path
    double by = 0;     ///< of JUMP

    std::chrono::milliseconds get_end() const { return begin + length; }
};

/// Which faults there are when: the same in each run. It begins anew after `get_period()`.
class FaultSchedule {
public:
    /// Makes up ten minutes of faults. The same number gives the same faults, on every machine.
    explicit FaultSchedule(unsigned int seed);

    /// Reads lines "BEGIN LENGTH sensor ITEM", "BEGIN LENGTH jump ITEM BY", "BEGIN LENGTH freeze",
    /// "BEGIN LENGTH drop" and "repeat PERIOD", with times in seconds. Empty lines and those that begin with
    /// "#" are passed over. Without "repeat" it begins anew at the end of the last fault.
    /// @param name  of the file, for messages
    /// @throws ArgumentError  for anything else, with the number of the line
    FaultSchedule(std::istream& stream, const std::string& name);

    const std::vector<Fault>& get_faults() const { return faults_; }
    std::chrono::milliseconds get_period() const { return period_; }

    /// Writes it as such a file.
    void print(std::ostream& stream) const;

private:
    void check(const std::string& name) const;

    std::vector<Fault> faults_;
    std::chrono::milliseconds period_{0};
};

/// The fault as a line of such a file, but for its times.
std::string describe(const Fault& fault);

}  // namespace plant
