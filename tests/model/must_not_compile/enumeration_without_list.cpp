// EXPECT: VariableContent
// EXPECT: Unlisted
#include <information_model/InformationModel.h>

enum class Unlisted { A, B };

#ifdef MISTAKE
void write(kx::information_model::TypedVariable<Unlisted> mode);
#else
void write(kx::information_model::TypedVariable<kx::information_model::symbol_list::QUALITY> mode);
#endif
