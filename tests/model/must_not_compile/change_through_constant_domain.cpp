// EXPECT: const
#include <information_model/InformationModel.h>

void describe(const kx::information_model::Domain& boiler, kx::information_model::Domain& other) {
#ifdef MISTAKE
    auto& domain = boiler;
    static_cast<void>(other);
#else
    auto& domain = other;
    static_cast<void>(boiler);
#endif
    for (auto& item : domain.items()) {
        item.set_description("text");
    }
}
