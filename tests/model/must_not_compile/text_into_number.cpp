// EXPECT: TypedVariable<double>
// EXPECT: char
// EXPECT: deleted
#include <information_model/InformationModel.h>

void write(kx::information_model::TypedVariable<double> temperature) {
#ifdef MISTAKE
    temperature = "text";
#else
    temperature = 22;
#endif
}
