#pragma once

struct NOVIK_FUNCS;

/// Fills in the functions of the data streams, which answer from CFakeProbe::Streams.
void FillFakeStreams(NOVIK_FUNCS& Funcs);
