// EXPECT: int
// EXPECT: double
// EXPECT: deleted
#include <information_model/InformationModel.h>

void write(kx::information_model::TypedVariable<int> count) {
#ifdef MISTAKE
    count.update({.value = 2.5});
#else
    count.update({.value = 2});
#endif
}
