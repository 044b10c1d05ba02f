// EXPECT: add
// EXPECT: double
// EXPECT: deleted
#include <information_model/InformationModel.h>

void build(kx::information_model::Domain& boiler) {
#ifdef MISTAKE
    boiler.add<double>("temperature", "21.5");
#else
    boiler.add<double>("temperature", 21.5);
#endif
}
