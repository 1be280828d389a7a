// The pages' style and scripts, inline in every page so that a page stands alone: no network,
// no server, attachable to a ticket. Plain DOM scripting, readable without a build step.
#include "Html.h"

namespace Velmar::MXF::Report {

extern const char* const kStyle;

const char* const kStyle = R"CSS(
:root{--fg:#1d2330;--muted:#5b6475;--line:#d8dde6;--bg:#fff;--panel:#f5f7fa;--link:#0b57b3;
--error:#c62828;--warning:#9a5b00;--info:#2e6da4;--ok:#2e7d32;--badge-text:#fff;--focus:#ff9800}
*{box-sizing:border-box}
body{margin:0;font:14px/1.45 system-ui,-apple-system,"Segoe UI",Roboto,sans-serif;color:var(--fg);background:var(--bg)}
main{max-width:1400px;margin:0 auto;padding:0 20px 40px}
header.page{background:var(--panel);border-bottom:1px solid var(--line);padding:16px 20px}
header.page h1{margin:0 0 2px;font-size:20px;word-break:break-all}
.sub{color:var(--muted);margin:0 0 10px}
h2{font-size:16px;margin:26px 0 8px;border-bottom:1px solid var(--line);padding-bottom:4px}
a{color:var(--link)}
a:focus-visible,button:focus-visible,summary:focus-visible,input:focus-visible,select:focus-visible{outline:3px solid var(--focus);outline-offset:1px}
dl.facts{display:grid;grid-template-columns:max-content 1fr;gap:2px 14px;margin:0 0 10px}
dl.facts dt{color:var(--muted)}dl.facts dd{margin:0}
table{border-collapse:collapse}
table.grid{width:100%}
table.grid th,table.grid td{border-bottom:1px solid var(--line);padding:3px 8px;text-align:left;vertical-align:top}
table.grid th{background:var(--panel);font-weight:600}
td.num,th.num{text-align:right;font-variant-numeric:tabular-nums;white-space:nowrap}
nav.toc{margin:10px 0 0;display:flex;gap:16px;flex-wrap:wrap}
.badge{display:inline-block;border-radius:9px;padding:0 8px;font-size:12px;font-weight:600;color:var(--badge-text);margin-right:4px}
.badge.error{background:var(--error)}.badge.warning{background:var(--warning)}.badge.info{background:var(--info)}.badge.none{background:var(--ok)}
.sev-error{color:var(--error);font-weight:600}.sev-warning{color:var(--warning);font-weight:600}.sev-info{color:var(--info)}
.refusal{border:2px solid var(--error);background:#fdecea;padding:10px 14px;border-radius:6px}
/* the map */
.map{position:relative;margin:26px 0 4px}
.parts{position:relative;height:20px;font-size:11px;color:var(--muted)}
.part{position:absolute;top:0;height:18px;border-left:2px solid var(--fg);padding-left:3px;white-space:nowrap;overflow:hidden}
.bar{display:flex;height:38px;border:1px solid var(--fg);background:#eee}
.band{display:block;min-width:2px;height:100%;border-right:1px solid rgba(255,255,255,.7);text-decoration:none}
.band:hover,.band.sel{filter:brightness(1.25);box-shadow:inset 0 0 0 2px var(--fg)}
.band:focus-visible{outline:3px solid var(--focus);outline-offset:-3px}
.k-runIn{background:#9e9e9e}.k-partitionPack{background:#37474f}.k-headerMetadata{background:#1e88e5}
.k-indexTable{background:#8e24aa}.k-essence{background:#43a047}.k-genericStream{background:#8d6e63}
.k-fill{background:repeating-linear-gradient(45deg,#e0e0e0 0 4px,#f5f5f5 4px 8px)}
.k-randomIndex{background:#263238}.k-other{background:#bdbdbd}
.k-cut{background:repeating-linear-gradient(45deg,#c62828 0 4px,#ffcdd2 4px 8px)}
.k-mixed{background:repeating-linear-gradient(90deg,#43a047 0 3px,#1e88e5 3px 5px,#37474f 5px 6px)}
.marks{position:relative;height:16px}
.mark{position:absolute;top:0;width:0;height:0;border-left:6px solid transparent;border-right:6px solid transparent;border-bottom:12px solid var(--info);margin-left:-6px}
.mark.error{border-bottom-color:var(--error)}.mark.warning{border-bottom-color:var(--warning)}
.mark:focus-visible{outline:3px solid var(--focus)}
#map-info{min-height:1.5em;font-variant-numeric:tabular-nums;margin:2px 0 6px}
.legend{display:flex;flex-wrap:wrap;gap:4px 14px;color:var(--muted);font-size:12px;margin:4px 0}
.sw{display:inline-block;width:12px;height:12px;vertical-align:-2px;margin-right:4px;border:1px solid #0003}
/* the tree */
.tools{display:flex;gap:8px;margin:0 0 8px}
button{font:inherit;padding:2px 10px;border:1px solid var(--line);background:var(--panel);border-radius:4px;cursor:pointer}
details.set{margin:2px 0 2px 0;border-left:2px solid var(--line);padding-left:10px}
#tree>details.set>details.set{content-visibility:auto;contain-intrinsic-size:auto 400px}
details.set>summary{cursor:pointer;padding:2px 0}
details.set>summary .sn{font-weight:600}
.meta{color:var(--muted);font-size:12px;margin-left:6px}
table.items{margin:2px 0 6px;font-size:13px}
table.items td{padding:1px 8px 1px 0;vertical-align:top}
table.items td:nth-child(1){font-family:ui-monospace,monospace;color:var(--muted)}
table.items td:nth-child(3){color:var(--muted);white-space:nowrap}
table.items td:nth-child(4){word-break:break-word;font-family:ui-monospace,monospace;font-size:12px}
abbr{text-decoration:none;border-bottom:1px dotted var(--muted)}
.file{font-style:italic}
.flash{animation:flash 1.6s ease-out}
@keyframes flash{0%{background:#ffe082}100%{background:transparent}}
.filters{display:flex;gap:12px;align-items:center;margin:10px 0}
input[type=search]{font:inherit;padding:3px 8px;min-width:280px}
th button{all:unset;cursor:pointer;font-weight:600}
th button::after{content:" \2195";color:var(--muted)}
th[aria-sort=ascending] button::after{content:" \2191"}th[aria-sort=descending] button::after{content:" \2193"}
tr.refused td{background:#fdecea}
#files td:first-child{min-width:20ch;max-width:40ch;overflow-wrap:anywhere}
@media (prefers-color-scheme:dark){:root{--fg:#e3e7ee;--muted:#9aa3b2;--line:#3a4150;--bg:#161a21;--panel:#1f2530;--link:#7fb3ff;
--error:#ff8a80;--warning:#ffb74d;--info:#90caf9;--ok:#81c784;--badge-text:#161a21}
.refusal,tr.refused td{background:#3b1f1f}.bar{background:#333}}
)CSS";

const char* const kPageScript = R"JS(
(function(){
'use strict';
// Opens every closed set around the element, scrolls to it and marks it for a moment.
function reveal(el){
  for(var p=el.parentElement;p;p=p.parentElement){if(p.tagName==='DETAILS'&&!p.open)p.open=true;}
  if(el.tagName==='DETAILS')el.open=true;
  el.scrollIntoView({block:'center'});
  var shown=el.tagName==='DETAILS'?el.querySelector('summary'):el;
  shown.classList.remove('flash');void shown.offsetWidth;shown.classList.add('flash');
  if(!el.hasAttribute('tabindex')&&!/^(A|SUMMARY|BUTTON)$/.test(el.tagName))el.setAttribute('tabindex','-1');
  (el.tagName==='DETAILS'?shown:el).focus({preventScroll:true});
}
document.addEventListener('click',function(e){
  var a=e.target.closest&&e.target.closest('a[href^="#"]');
  if(!a||a.classList.contains('band'))return;
  var t=document.getElementById(decodeURIComponent(a.getAttribute('href').slice(1)));
  if(!t)return;
  e.preventDefault();history.pushState(null,'',a.getAttribute('href'));reveal(t);
});
function fromHash(){var id=decodeURIComponent(location.hash.slice(1));var t=id&&document.getElementById(id);if(t)reveal(t);}
window.addEventListener('popstate',fromHash);
// The map: a band's place and size shown on hover, focus or click; arrow keys move along it.
var info=document.getElementById('map-info');
var bands=Array.prototype.slice.call(document.querySelectorAll('.band'));
function show(b){bands.forEach(function(x){x.classList.toggle('sel',x===b);});if(info)info.textContent=b.title;}
bands.forEach(function(b,i){
  b.addEventListener('mouseenter',function(){show(b);});
  b.addEventListener('focus',function(){show(b);});
  b.addEventListener('click',function(e){e.preventDefault();show(b);});
  b.addEventListener('keydown',function(e){
    var j=e.key==='ArrowRight'?i+1:e.key==='ArrowLeft'?i-1:e.key==='Home'?0:e.key==='End'?bands.length-1:-1;
    if(j<0||j>=bands.length)return;
    e.preventDefault();b.tabIndex=-1;bands[j].tabIndex=0;bands[j].focus();
  });
});
// Findings' marks that would cover one another are moved right of the one before, so that a
// pointer reaches each; again when the window's width changes.
var marks=Array.prototype.slice.call(document.querySelectorAll('.mark'));
function spread(){
  marks.forEach(function(m){m.style.transform='';});
  var placed=marks.map(function(m){return {m:m,x:m.getBoundingClientRect().left};});
  placed.sort(function(a,b){return a.x-b.x;});
  var free=-Infinity;
  placed.forEach(function(p){var by=Math.max(0,free-p.x);
    if(by>0)p.m.style.transform='translateX('+by+'px)';free=p.x+by+p.m.offsetWidth;});
}
spread();window.addEventListener('resize',spread);
var all=function(open){document.querySelectorAll('details.set').forEach(function(d){d.open=open;});};
var ex=document.getElementById('expand-all'),co=document.getElementById('collapse-all');
if(ex)ex.addEventListener('click',function(){all(true);});
if(co)co.addEventListener('click',function(){all(false);});
fromHash();
})();
)JS";

const char* const kIndexScript = R"JS(
(function(){
'use strict';
var table=document.getElementById('files'),body=table.tBodies[0];
var rows=Array.prototype.slice.call(body.rows);
var filter=document.getElementById('filter'),only=document.getElementById('only'),count=document.getElementById('shown');
function keep(r){
  var q=filter.value.trim().toLowerCase(),o=only.value;
  if(q&&r.textContent.toLowerCase().indexOf(q)<0)return false;
  var d=r.dataset;
  if(o==='refused')return d.refused==='1';
  if(o==='errors')return +d.errors>0;
  if(o==='warnings')return +d.errors>0||+d.warnings>0;
  if(o==='clean')return d.refused!=='1'&&+d.errors===0&&+d.warnings===0;
  return true;
}
function apply(){var n=0;rows.forEach(function(r){var k=keep(r);r.hidden=!k;if(k)n++;});count.textContent=n+' of '+rows.length+' files';}
filter.addEventListener('input',apply);only.addEventListener('change',apply);
// Sorting: each column's cells give data-v (numbers) or their text; a second press reverses.
Array.prototype.forEach.call(table.tHead.rows[0].cells,function(th,col){
  var b=th.querySelector('button');if(!b)return;
  b.addEventListener('click',function(){
    var asc=th.getAttribute('aria-sort')!=='ascending';
    Array.prototype.forEach.call(table.tHead.rows[0].cells,function(h){h.removeAttribute('aria-sort');});
    th.setAttribute('aria-sort',asc?'ascending':'descending');
    var num=th.classList.contains('num');
    rows.sort(function(x,y){
      var a=x.cells[col],c=y.cells[col];
      var u=num?+a.dataset.v:a.textContent.toLowerCase(),v=num?+c.dataset.v:c.textContent.toLowerCase();
      return (u<v?-1:u>v?1:0)*(asc?1:-1);
    });
    rows.forEach(function(r){body.appendChild(r);});
  });
});
apply();
})();
)JS";

}  // namespace Velmar::MXF::Report
