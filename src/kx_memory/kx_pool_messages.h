// kx_pool_messages.h: the pool's messages, Japanese in every locale.
#pragma once

#include "kx_utils/kx_message.h"

namespace orkan::msg {

inline constexpr kx_message<kx_i64> kPoolMallocCalls{"\n###メモリ割当函数[kx_malloc]のコール回数は：%ld\n"};
inline constexpr kx_message<kx_i64> kPoolMallocHwmCalls{"###メモリ快速割当函数[kx_malloc_hwm]のコール回数は：%ld\n"};
inline constexpr kx_message<kx_i64> kPoolQmallocCalls{"###メモリ最快速割当函数[kx_qmalloc]のコール回数は：%ld\n"};
inline constexpr kx_message<kx_i64> kPoolReallocCalls{"###メモリ再割当函数[kx_realloc]のコール回数は：%ld\n"};
inline constexpr kx_message<kx_i64> kSystemMallocCalls{"###メモリ割当函数[malloc]のコール回数は：%ld\n"};
inline constexpr kx_message<kx_i64> kSystemReallocCalls{"###メモリ再割当函数[realloc]のコール回数は：%ld\n"};
inline constexpr kx_message<kx_i64> kSystemFreeCalls{"###メモリ解放函数[free]のコール回数は：%ld\n"};
inline constexpr kx_message<kx_i64> kSystemQfreeCalls{"###メモリ解放函数[qfree]のコール回数は：%ld\n"};

/// Blocks in use: front, back.
inline constexpr kx_message<kx_i64, kx_i64> kPoolBlocksInUse{
    "###フロント側の割当済みメモリブロックは[%ld]個、バック側の割当済みメモリブロックは[%ld]個です。\n"};
/// Free blocks, their KiB together, the largest one's KiB.
inline constexpr kx_message<kx_i64, kx_i64, kx_i64> kPoolFreeMemory{
    "###トータルフリーメモリ数[%ld]個、サイズは[%ld]KB、最大フリーメモリブロックサイズは[%ld]KBです。\n"};

/// KiB (truncating) and bytes of a request that goes to the system.
inline constexpr kx_message<kx_i64, kx_i64> kMallocFromSystem{
    "メモリプールから[%ld]KB、[%ld]バイトが割当できなかったので、ヒップから割当てる！\n"};
inline constexpr kx_message<kx_i64, kx_i64> kReallocFromSystem{
    "メモリプールから[%ld]KB、[%ld]バイトが再割当できなかったので、ヒップから再割当てる！\n"};
/// kx_realloc_both: KiB only.
inline constexpr kx_message<kx_i64> kReallocBothFromSystem{
    "メモリプールから[%ld]KBバイトが再割当できなかったので、ヒップから再割当てる！\n"};

} // namespace orkan::msg
