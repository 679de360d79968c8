// SPDX-License-Identifier: MIT
// How the page looks, in light and dark, on a desk and in a hand.
#pragma once

namespace tools::report {

inline constexpr char kStyle[] = R"css(
:root{color-scheme:light dark;--paper:#f6f5f1;--card:#fff;--ink:#20252b;--soft:#5f6873;--line:#e2dfd6;
--accent:#0b6e8f;--good:#1a7a4b;--bad:#bd2c1d;--class:#7a68a6;--head:#4a76a8;--name:#3d9a96;--tag:#d69b2d;
--map:#c9653a;--pixels:#2c9a6e;--behind:#9a9a9a;--track:#ecebe5}
@media(prefers-color-scheme:dark){:root{--paper:#14171a;--card:#1c2024;--ink:#e7e9ea;--soft:#98a2ad;
--line:#2e343a;--accent:#5cc0de;--good:#5dc58f;--bad:#ff7d6b;--class:#a594d6;--head:#78a5d8;--name:#62c1bc;
--tag:#e8b95c;--map:#e58c64;--pixels:#4fc292;--behind:#7b7f84;--track:#262b30}}
*{box-sizing:border-box}
body{margin:0;background:var(--paper);color:var(--ink);font:16px/1.5 system-ui,-apple-system,"Segoe UI",
Roboto,"Noto Sans",sans-serif;font-variant-numeric:tabular-nums;overflow-wrap:anywhere}
main{max-width:72rem;margin:0 auto;padding:1.5rem 1rem 4rem}
header{display:flex;flex-wrap:wrap;align-items:center;gap:.25rem 1rem;margin:.5rem 0 1.5rem}
h1{font-size:1.7rem;line-height:1.2;margin:0;font-weight:650;letter-spacing:-.01em}
header p{flex-basis:100%;margin:0;color:var(--soft)}
h2{font-size:.8rem;font-weight:650;text-transform:uppercase;letter-spacing:.08em;color:var(--soft);
margin:0 0 .9rem}
h3{font-size:1rem;margin:0 0 .35rem}
section{background:var(--card);border:1px solid var(--line);border-radius:.8rem;padding:1.2rem;
margin:0 0 1rem}
code,pre,.key{font-family:ui-monospace,"SF Mono",Menlo,Consolas,"DejaVu Sans Mono",monospace;font-size:.88em}
.state{border-radius:2rem;padding:.15rem .8rem;font-size:.85rem;font-weight:600;color:var(--card);
background:var(--good)}
.state.bad{background:var(--bad)}
dl{display:grid;grid-template-columns:repeat(auto-fill,minmax(15rem,1fr));gap:.8rem 1.5rem;margin:0}
dt{color:var(--soft);font-size:.8rem}
dd{margin:0}
.identifier{display:block;color:var(--soft);font-size:.72rem;line-height:1.4}
.bar{display:flex;height:2.6rem;border-radius:.5rem;overflow:hidden;background:var(--track);gap:1px;
margin:0 0 1rem}
.bar i{flex:0 1 0;min-width:3px}
i.class{background:var(--class)}i.head{background:var(--head)}i.name{background:var(--name)}
i.tag{background:var(--tag)}i.map{background:var(--map)}i.pixels{background:var(--pixels)}
i.behind{background:repeating-linear-gradient(45deg,var(--behind) 0 4px,transparent 4px 8px)}
.bar i.pixels:nth-of-type(even){filter:brightness(.88)}
.bar i.break{flex:none;width:6px;background:var(--bad)}
.broken{border-left:4px solid var(--bad);padding:.1rem 0 .1rem 1rem;margin:0 0 1.2rem}
.broken h3{color:var(--bad)}
.problems{margin:0 0 .7rem;padding-left:1.2rem}
pre.bytes{margin:0;padding:.7rem .9rem;background:var(--track);border-radius:.5rem;overflow-x:auto;
line-height:1.6}
pre.bytes b{color:var(--soft);font-weight:400}
mark{background:var(--bad);color:var(--card);border-radius:.2rem;padding:0 .15em}
.scroll{overflow-x:auto}
table{border-collapse:collapse;width:100%;font-size:.92rem}
th{text-align:left;color:var(--soft);font-size:.78rem;font-weight:500}
th,td{padding:.28rem .8rem .28rem 0;border-bottom:1px solid var(--line);vertical-align:top}
tr:last-child td{border-bottom:0}
.number{text-align:right}
.parts td:nth-child(-n+3),.parts th:nth-child(-n+3){width:1px;white-space:nowrap}
.parts td,.parts th{padding-right:1.4rem}
.parts td:first-child{padding-right:.6rem}
.parts i{display:inline-block;width:.85rem;height:.85rem;border-radius:.2rem;vertical-align:-.1rem}
tr.break td{color:var(--bad)}
.planes{display:grid;grid-template-columns:repeat(auto-fit,minmax(min(100%,15rem),1fr));gap:1.4rem}
figure{margin:0;min-width:0}
.plane{display:block;width:100%;max-height:30rem;background:var(--track);border-radius:.4rem}
.plane .missing{fill:var(--bad);fill-opacity:.35}
.plane .outside{fill:#000;fill-opacity:.45}
.plane .rectangle,.plane .margin{fill:none;vector-effect:non-scaling-stroke;stroke-width:2;stroke:#19b5e6}
.plane .margin{stroke:#ffb000;stroke-dasharray:5 4}
@media(min-width:50rem){figure:only-child{display:grid;grid-template-columns:3fr 2fr;gap:1.6rem;
align-items:end}figure:only-child .histogram{height:10rem}}
figcaption{margin:.6rem 0 0;font-size:.88rem;color:var(--soft)}
figcaption strong{color:var(--ink);font-weight:600}
.legend{display:flex;flex-wrap:wrap;gap:.2rem 1.4rem;margin:1rem 0 0;font-size:.85rem;color:var(--soft)}
.legend span::before{content:"";display:inline-block;width:1.4rem;border-top:2px solid #19b5e6;
margin-right:.5rem;vertical-align:.25rem}
.legend .dashed::before{border-top:2px dashed #ffb000}
.histogram{display:block;width:100%;height:4.5rem;margin:.7rem 0 0;border-bottom:1px solid var(--line)}
.histogram path{fill:var(--accent)}
.curve{display:block;width:100%;height:12rem;border-left:1px solid var(--line);
border-bottom:1px solid var(--line)}
.tree .curve{height:5rem}
.curve path{fill:none;stroke:var(--accent);vector-effect:non-scaling-stroke;stroke-width:1.5;
stroke-linejoin:round}
.curve .range{fill:var(--accent);fill-opacity:.35;stroke-width:1}
.curve .dots{stroke-width:6;stroke-linecap:round}
.curve .zero{stroke:var(--soft);stroke-dasharray:3 4;stroke-width:1}
.ends{display:flex;justify-content:space-between;gap:1rem;color:var(--soft);font-size:.78rem}
.top{color:var(--soft);font-size:.78rem}
.tree,.tree ul{list-style:none;margin:0;padding:0}
.tree ul{margin-left:.35rem;padding-left:1rem;border-left:1px solid var(--line)}
.tree li{padding:.22rem 0}
.key{color:var(--accent)}
.value{margin-left:.5rem}
summary{cursor:pointer}
summary::marker{color:var(--soft)}
#fields summary h2{display:inline;margin:0}
#fields table{margin-top:1rem}
#fields td{font-size:.85rem}
footer{color:var(--soft);font-size:.8rem;text-align:center;margin-top:2rem}
@media(max-width:40rem){main{padding:1rem .6rem 3rem}section{padding:1rem .8rem}h1{font-size:1.35rem}
dl{grid-template-columns:1fr 1fr;gap:.7rem 1rem}}
)css";

}  // namespace tools::report
