#ifndef MORVEX_M_TRIGGER_H
#define MORVEX_M_TRIGGER_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_TRIGGER_H */
