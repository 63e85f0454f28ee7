// What a reader must be shown, told from what was sent and what of it arrived alone: no codec has a say in it.
#ifndef SIM_SHOWN_TEXT_H
#define SIM_SHOWN_TEXT_H

#include "sim/model/PlayoutModel.h"

// `packets` are the new texts of a stream's packets, each of which also carries those of the `level` ones before it;
// `arrived` are indices, in order of arrival. Text before the first packet that arrived and after the last is left out:
// nobody can know of it.
std::vector<Handed> WhatMustBeShown(const std::vector<std::string>& packets, const std::vector<size_t>& arrived,
                                    size_t level);

#endif
