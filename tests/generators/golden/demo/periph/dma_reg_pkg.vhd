-- ###############################################################
--          periph/dma_reg_pkg.vhd
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
package dma_reg_pkg is

-- Archive Variables
constant DMA_CHANNELS:                          integer := 8;
--Internal descriptor RAM: two descriptors per channel.
constant DMA_DESC_RAM_SIZE:                     integer := DMA_CHANNELS * 32;
--No peripheral: memory-to-memory transfer at full speed.
constant DMA_REQ_MEM2MEM:                       integer := 0;
constant DMA_REQ_UART0_RX:                      integer := 1;
constant DMA_REQ_UART0_TX:                      integer := 2;
constant DMA_REQ_UART1_RX:                      integer := 3;
constant DMA_REQ_UART1_TX:                      integer := 4;
constant DMA_REQ_TIM2_UP:                       integer := 5;
constant DMA_REQ_TIM3_UP:                       integer := 6;
--Number of request lines.
constant DMA_REQ_COUNT:                         integer := 7;
constant DMA_PRIO_LOW:                          integer := 0;
constant DMA_PRIO_MEDIUM:                       integer := 1;
constant DMA_PRIO_HIGH:                         integer := 2;
constant DMA_PRIO_VERY_HIGH:                    integer := 3;

-- Register definition
-- Register Map
-- Address bit for register decoding
constant DMA_REG_NBA: natural := 9;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

constant at_ISR:                                integer := 0;
-- logical map
constant l_TCIF0:                               integer := 0;
constant l_TCIF1:                               integer := 1;
constant l_TCIF2:                               integer := 2;
constant l_TCIF3:                               integer := 3;
constant l_TCIF4:                               integer := 4;
constant l_TCIF5:                               integer := 5;
constant l_TCIF6:                               integer := 6;
constant l_TCIF7:                               integer := 7;
constant l_TEIF0:                               integer := 8;
constant l_TEIF1:                               integer := 9;
constant l_TEIF2:                               integer := 10;
constant l_TEIF3:                               integer := 11;
constant l_TEIF4:                               integer := 12;
constant l_TEIF5:                               integer := 13;
constant l_TEIF6:                               integer := 14;
constant l_TEIF7:                               integer := 15;
subtype  l_TCIF is                              integer range 7 downto 0;
subtype  l_TEIF is                              integer range 15 downto 8;
-- physical map
constant p_TCIF0:                               integer := 0;
constant p_TCIF1:                               integer := 1;
constant p_TCIF2:                               integer := 2;
constant p_TCIF3:                               integer := 3;
constant p_TCIF4:                               integer := 4;
constant p_TCIF5:                               integer := 5;
constant p_TCIF6:                               integer := 6;
constant p_TCIF7:                               integer := 7;
constant p_TEIF0:                               integer := 8;
constant p_TEIF1:                               integer := 9;
constant p_TEIF2:                               integer := 10;
constant p_TEIF3:                               integer := 11;
constant p_TEIF4:                               integer := 12;
constant p_TEIF5:                               integer := 13;
constant p_TEIF6:                               integer := 14;
constant p_TEIF7:                               integer := 15;
subtype  p_TCIF is                              integer range 7 downto 0;
subtype  p_TEIF is                              integer range 15 downto 8;
subtype range_ISR is                            integer range 15 downto 0;

constant at_IFCR:                               integer := 4;
-- logical map
constant l_CTCIF0:                              integer := 0;
constant l_CTCIF1:                              integer := 1;
constant l_CTCIF2:                              integer := 2;
constant l_CTCIF3:                              integer := 3;
constant l_CTCIF4:                              integer := 4;
constant l_CTCIF5:                              integer := 5;
constant l_CTCIF6:                              integer := 6;
constant l_CTCIF7:                              integer := 7;
constant l_CTEIF0:                              integer := 8;
constant l_CTEIF1:                              integer := 9;
constant l_CTEIF2:                              integer := 10;
constant l_CTEIF3:                              integer := 11;
constant l_CTEIF4:                              integer := 12;
constant l_CTEIF5:                              integer := 13;
constant l_CTEIF6:                              integer := 14;
constant l_CTEIF7:                              integer := 15;
subtype  l_CTCIF is                             integer range 7 downto 0;
subtype  l_CTEIF is                             integer range 15 downto 8;
-- physical map
constant p_CTCIF0:                              integer := 0;
constant p_CTCIF1:                              integer := 1;
constant p_CTCIF2:                              integer := 2;
constant p_CTCIF3:                              integer := 3;
constant p_CTCIF4:                              integer := 4;
constant p_CTCIF5:                              integer := 5;
constant p_CTCIF6:                              integer := 6;
constant p_CTCIF7:                              integer := 7;
constant p_CTEIF0:                              integer := 8;
constant p_CTEIF1:                              integer := 9;
constant p_CTEIF2:                              integer := 10;
constant p_CTEIF3:                              integer := 11;
constant p_CTEIF4:                              integer := 12;
constant p_CTEIF5:                              integer := 13;
constant p_CTEIF6:                              integer := 14;
constant p_CTEIF7:                              integer := 15;
subtype  p_CTCIF is                             integer range 7 downto 0;
subtype  p_CTEIF is                             integer range 15 downto 8;
subtype range_IFCR is                           integer range 15 downto 0;

constant at_CCR:                                integer := 16;
-- logical map
constant l_EN:                                  integer := 0;
constant l_TCIE:                                integer := 1;
constant l_TEIE:                                integer := 2;
constant l_CIRC:                                integer := 5;
subtype  l_PL is                                integer range 13 downto 12;
subtype  l_REQ is                               integer range 21 downto 16;
-- physical map
constant p_EN:                                  integer := 0;
constant p_TCIE:                                integer := 1;
constant p_TEIE:                                integer := 2;
constant p_CIRC:                                integer := 3;
subtype  p_PL is                                integer range 5 downto 4;
subtype  p_REQ is                               integer range 11 downto 6;
subtype range_CCR is                            integer range 11 downto 0;

constant at_CNDTR:                              integer := 20;
-- logical map
subtype  l_NDT is                               integer range 15 downto 0;
-- physical map
subtype  p_NDT is                               integer range 15 downto 0;
subtype range_CNDTR is                          integer range 15 downto 0;

constant at_DESC:                               integer := 24;
-- logical map
-- physical map
subtype range_DESC is                           integer range 31 downto 0;

constant at_MAR:                                integer := 28;
-- logical map
-- physical map
subtype range_MAR is                            integer range 31 downto 0;


end dma_reg_pkg;
