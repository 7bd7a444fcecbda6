#pragma once

#include "framework/ResultCodes.h"

/// Leaves the function with the expression's result unless it is 0.
#define QMF_RETURN_IF_NONZERO(expression)                                                        \
  do {                                                                                           \
    if (const ::qmf::QMFResult result_ = (expression); result_ != ::qmf::QMF_OK) return result_; \
  } while (false)

/// Leaves the function with the expression's result when it is a failure; warnings go on.
#define QMF_RETURN_IF_FAILURE(expression)                                                         \
  do {                                                                                            \
    if (const ::qmf::QMFResult result_ = (expression); ::qmf::IsFailure(result_)) return result_; \
  } while (false)
