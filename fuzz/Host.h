#pragma once

#include <information_model/InformationModel.h>
#include <information_model/Registration.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace kx::fuzz {

/// A host whose tree has everything that a tree can have: a scalar and an array of every type, writable and
/// read-only, with and without metadata, with names and texts that no XML can carry, with observers that
/// write and that throw. Used by one thread.
///
/// | path                      | items                                                         |
/// |---------------------------|---------------------------------------------------------------|
/// | "/s/<letter>"             | a writable scalar of each type, "a" the first                 |
/// | "/v/<letter>"             | the same as arrays                                            |
/// | "/r/v", "/r/n"            | read-only, and writable by nobody's word                      |
/// | "/m/all", "/m/some"       | with all metadata, with some                                  |
/// | "/o/..."                  | observed: copies itself, throws, ends its own registration    |
/// | "/x/..."                  | texts that are not UTF-8, names with markup, a deep branch    |
/// | "/bad"                    | a value whose content is not of its type                      |
/// | "/t", "/gone"             | changed by `turn`                                             |
class Host {
public:
    Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host();

    const std::shared_ptr<information_model::InformationModel>& get_model() const { return model_; }

    /// What a host does now and then: writes a variable, and removes or adds another.
    void turn();

private:
    void add_scalars();
    void add_arrays();
    void add_metadata();
    void add_observers();
    void add_odd_texts();

    std::shared_ptr<information_model::InformationModel> model_;
    std::vector<information_model::Registration> registrations_;
    int turns_ = 0;
};

}  // namespace kx::fuzz
