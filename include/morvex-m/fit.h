#ifndef MORVEX_M_FIT_H
#define MORVEX_M_FIT_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_FIT_H */
