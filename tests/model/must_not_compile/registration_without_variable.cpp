// EXPECT: nodiscard
#include <information_model/InformationModel.h>

void watch(kx::information_model::Domain& boiler) {
    const auto callback = [](const kx::information_model::Path&, const kx::information_model::Value&) {};
#ifdef MISTAKE
    boiler.on_change(callback);
#else
    const auto watching = boiler.on_change(callback);
#endif
}
