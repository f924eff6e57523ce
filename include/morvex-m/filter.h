#ifndef MORVEX_M_FILTER_H
#define MORVEX_M_FILTER_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_FILTER_H */
