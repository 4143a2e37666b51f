-- ###############################################################
--          periph/vx100_uart_pkg.vhd
-- ###############################################################
-- Generated automatically by Ombrel
--
-- Module Description :
--
--      
--
-- ---------------------------------------------------------------
--  $HeadURL: $
--  $Author: $
--  $Date: $
--  $Revision: $
-- ---------------------------------------------------------------
-- ###############################################################
--          VHDL CODE
-- ###############################################################
-------------------------------------------------
-- Libraries
-------------------------------------------------
LIBRARY IEEE;
USE ieee.std_logic_1164.all;

USE work.common_reg_pkg.all;
package vx100_uart_pkg is

-- Archive Variables
--Depth of each FIFO, in characters.
constant UART_FIFO_DEPTH:                       integer := 16;
--Bits of a received character, parity bit included (9-bit mode).
subtype UART_DATA_BITS is                       integer range 8 downto 0;
constant UART_PARITY_NONE:                      integer := 0;
--Do not use.
constant UART_PARITY_RESERVED:                  integer := 1;
constant UART_PARITY_EVEN:                      integer := 2;
constant UART_PARITY_ODD:                       integer := 3;

-- Register definition
-- Register Map
-- Address bit for register decoding
constant UART_REG_NBA: natural := 5;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

constant at_CR1:                                integer := 0;
-- logical map
constant l_UE:                                  integer := 0;
constant l_RE:                                  integer := 2;
constant l_TE:                                  integer := 3;
constant l_IDLEIE:                              integer := 4;
constant l_RXNEIE:                              integer := 5;
constant l_TCIE:                                integer := 6;
constant l_TXEIE:                               integer := 7;
subtype  l_PARITY is                            integer range 10 downto 9;
constant l_WL:                                  integer := 12;
constant l_OVER8:                               integer := 15;
-- physical map
constant p_UE:                                  integer := 0;
constant p_RE:                                  integer := 1;
constant p_TE:                                  integer := 2;
constant p_IDLEIE:                              integer := 3;
constant p_RXNEIE:                              integer := 4;
constant p_TCIE:                                integer := 5;
constant p_TXEIE:                               integer := 6;
subtype  p_PARITY is                            integer range 8 downto 7;
constant p_WL:                                  integer := 9;
constant p_OVER8:                               integer := 10;
subtype range_CR1 is                            integer range 10 downto 0;

constant at_CR2:                                integer := 4;
-- logical map
constant l_LBDIE:                               integer := 6;
constant l_CLKEN:                               integer := 11;
subtype  l_STOP is                              integer range 13 downto 12;
subtype  l_ADD is                               integer range 31 downto 24;
-- physical map
constant p_LBDIE:                               integer := 0;
constant p_CLKEN:                               integer := 1;
subtype  p_STOP is                              integer range 3 downto 2;
subtype  p_ADD is                               integer range 11 downto 4;
subtype range_CR2 is                            integer range 11 downto 0;

constant at_BRR:                                integer := 8;
-- logical map
subtype  l_DIV_FRACTION is                      integer range 3 downto 0;
subtype  l_DIV_MANTISSA is                      integer range 15 downto 4;
-- physical map
subtype  p_DIV_FRACTION is                      integer range 3 downto 0;
subtype  p_DIV_MANTISSA is                      integer range 15 downto 4;
subtype range_BRR is                            integer range 15 downto 0;

constant at_ISR:                                integer := 12;
-- logical map
constant l_PE:                                  integer := 0;
constant l_FE:                                  integer := 1;
constant l_NF:                                  integer := 2;
constant l_ORE:                                 integer := 3;
constant l_IDLE:                                integer := 4;
constant l_RXNE:                                integer := 5;
constant l_TC:                                  integer := 6;
constant l_TXE:                                 integer := 7;
subtype  l_RXFLVL is                            integer range 20 downto 16;
constant l_BUSY:                                integer := 24;
subtype  l_ERRORS is                            integer range 3 downto 0;
-- physical map
constant p_PE:                                  integer := 0;
constant p_FE:                                  integer := 1;
constant p_NF:                                  integer := 2;
constant p_ORE:                                 integer := 3;
constant p_IDLE:                                integer := 4;
constant p_RXNE:                                integer := 5;
constant p_TC:                                  integer := 6;
constant p_TXE:                                 integer := 7;
subtype  p_RXFLVL is                            integer range 12 downto 8;
constant p_BUSY:                                integer := 13;
subtype  p_ERRORS is                            integer range 3 downto 0;
subtype range_ISR is                            integer range 13 downto 0;

constant at_ICR:                                integer := 16;
-- logical map
constant l_PECF:                                integer := 0;
constant l_FECF:                                integer := 1;
constant l_NCF:                                 integer := 2;
constant l_ORECF:                               integer := 3;
constant l_IDLECF:                              integer := 4;
constant l_TCCF:                                integer := 6;
-- physical map
constant p_PECF:                                integer := 0;
constant p_FECF:                                integer := 1;
constant p_NCF:                                 integer := 2;
constant p_ORECF:                               integer := 3;
constant p_IDLECF:                              integer := 4;
constant p_TCCF:                                integer := 5;
subtype range_ICR is                            integer range 5 downto 0;

constant at_RDR:                                integer := 20;
-- logical map
subtype  l_RDR is                               integer range 7 downto 0;
-- physical map
subtype  p_RDR is                               integer range 7 downto 0;
subtype range_RDR is                            integer range 7 downto 0;

constant at_TDR:                                integer := 24;
-- logical map
subtype  l_TDR is                               integer range 7 downto 0;
-- physical map
subtype  p_TDR is                               integer range 7 downto 0;
subtype range_TDR is                            integer range 7 downto 0;

constant at_GTPR:                               integer := 28;
-- logical map
subtype  l_PSC is                               integer range 7 downto 0;
subtype  l_GT is                                integer range 15 downto 8;
-- physical map
subtype  p_PSC is                               integer range 7 downto 0;
subtype  p_GT is                                integer range 15 downto 8;
subtype range_GTPR is                           integer range 15 downto 0;


end vx100_uart_pkg;
