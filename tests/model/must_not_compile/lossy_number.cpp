// EXPECT: set
// EXPECT: double
// EXPECT: deleted
#include <information_model/InformationModel.h>

void write(kx::information_model::TypedVariable<int> count) {
#ifdef MISTAKE
    count.set(2.5);
#else
    count.set(2);
#endif
}
