// EXPECT: VariableContent
// EXPECT: char
#include <information_model/InformationModel.h>

#ifdef MISTAKE
void write(kx::information_model::TypedVariable<char> letter);
#else
void write(kx::information_model::TypedVariable<signed char> letter);
#endif
